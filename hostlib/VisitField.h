#pragma once

// Tells one record member to a CFieldVisitor under the member's own name, so
// that the name stored and shown can never drift from the member it belongs to.
#define VISIT_FIELD(visitor, member) (visitor).Field(#member, member)
