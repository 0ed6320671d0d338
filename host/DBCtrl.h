#pragma once

class POD;

// The database's control record: draws task ids.
class CDBCtrl {
 public:
  explicit CDBCtrl(POD* pDatabase) : m_pDatabase(pDatabase) {}

  // With bNew true: reserves and returns a task id above 0 that no task uses
  // and that no other caller, in this process or another sharing the file,
  // is handed. With bNew false: the last id reserved in the database, 0 when
  // none was, reserving nothing.
  int GetTaskID(bool bNew);

 private:
  POD* m_pDatabase;  // not owned
};
