#pragma once

// Prints any record of the task database field by field, through the
// records' CFieldVisitor, so that every field (those this program uses and
// those it carries) is shown without code per record class:
//
//   CTask (task 5)
//     m_nModuleType = 0
//     m_vChildTaskIDs = [6, 7]
//     m_strName = "pressure_vessel"
//
// Numbers are printed so that they read back exactly; arrays in brackets.

#include <cstdio>

#include "commands/JsonOutput.h"

class pvPersistent;

void PrintRecord(FILE* out, pvPersistent& record);

// The record as JSON, every field under its own name:
//   {"record": "CTask", "key": {"m_nTaskID": 5}, "fields": {"m_nModuleType": 0, ...}}
// integers and texts as such, float64 as numbers (null when not finite),
// lists and arrays as arrays.
CJson RecordJson(pvPersistent& record);
