#pragma once

class POD;

// The task database lock, held as a local object for the length of a unit of
// work:
//
//   {
//     CLock lock(GetPOD(), 0);
//     ... reads and writes ...
//   }  // released here, also when an exception leaves the block
//
// Re-entrant within the process: a holder may take it again without blocking,
// and only the release of the outermost hold ends it. Exclusive across the
// processes that share the database file: the outermost hold is one write
// transaction, which waits for other processes rather than failing, and whose
// release commits what was written under it (nothing is ever rolled back).
class CLock {
 public:
  // Takes the lock on the database. The mode is reserved; callers pass 0.
  CLock(POD* pDatabase, long nMode);
  // Releases the hold if this object still has one.
  virtual ~CLock();

  // Releases this object's hold. A second call on the same object releases
  // nothing. The release of the outermost hold commits; a commit that fails
  // (a full disk, a read-only file) throws CDatabaseError, after ending the
  // transaction without its writes. Work whose writes must not be lost
  // silently ends with this call: the destructor can only log the failure.
  void UnLock();

  CLock(const CLock&) = delete;
  CLock& operator=(const CLock&) = delete;

 private:
  POD* m_pDatabase;  // the locked database; null once released
};
