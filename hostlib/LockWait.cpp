#include "LockWait.h"

#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <sstream>

#include "DatabaseError.h"
#include "SqliteError.h"
#include "TaskDatabaseAccess.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kSleepMilliseconds = 10;
constexpr long long kShmWriteLockByte = 120;         // unix VFS: UNIX_SHM_BASE + WAL_WRITE_LOCK
constexpr long long kReservedLockByte = 0x40000001;  // unix VFS: PENDING_BYTE + 1

CLockWaitSettings settings;  // the process's settings; SetLockWaitSettings replaces them

// The wait under way: the busy handler's calls for one statement step.
struct CWait {
  Clock::time_point started;  // first busy report of this wait
  bool noticed = false;       // the waiting notice has been given
} currentWait;

double SecondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

int WaitForLock(void* connection, int previousCalls) {
  if (previousCalls == 0) currentWait = CWait{Clock::now(), false};
  const double waited = SecondsSince(currentWait.started);
  if (!MayWaitLonger(waited)) return 0;
  if (!currentWait.noticed && waited >= kLockWaitNoticeSeconds && settings.onWaiting) {
    currentWait.noticed = true;
    const std::string file = DatabaseFileName(static_cast<sqlite3*>(connection));
    settings.onWaiting(file, DescribeLockHolder(file));
  }
  sqlite3_sleep(kSleepMilliseconds);
  return 1;
}

// The process's command line, arguments separated by spaces; "" when unknown.
std::string CommandLineOf(long pid) {
  std::ifstream file("/proc/" + std::to_string(pid) + "/cmdline", std::ios::binary);
  std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  while (!text.empty() && text.back() == '\0') text.pop_back();
  for (char& c : text)
    if (c == '\0') c = ' ';
  return text;
}

// The process other than this one that holds a POSIX write lock covering the
// byte of the file; 0 for none. /proc/locks lines read
// "1: POSIX  ADVISORY  WRITE 1234 08:01:5678 120 120" (the device in hex,
// the inode, the first and last byte, "EOF" for an open end).
long WriteLockHolder(const std::string& path, long long byte) {
  struct stat file;
  if (stat(path.c_str(), &file) != 0) return 0;
  std::ifstream locks("/proc/locks");
  std::string line;
  while (std::getline(locks, line)) {
    std::istringstream fields(line);
    std::string id, kind, advisory, mode, device, first, last;
    long pid = 0;
    if (!(fields >> id >> kind)) continue;
    if (kind == "->") fields >> kind;  // a waiting request: "1: -> POSIX ..."
    if (!(fields >> advisory >> mode >> pid >> device >> first >> last)) continue;
    if (kind != "POSIX" || mode != "WRITE" || pid == static_cast<long>(getpid())) continue;
    const size_t inodeStart = device.rfind(':');
    if (inodeStart == std::string::npos ||
        std::stoull(device.substr(inodeStart + 1)) != file.st_ino)
      continue;
    if (std::stoll(first) <= byte && (last == "EOF" || std::stoll(last) >= byte)) return pid;
  }
  return 0;
}

}  // namespace

void SetLockWaitSettings(CLockWaitSettings newSettings) { settings = std::move(newSettings); }

void InstallLockWait(sqlite3* connection) {
  sqlite3_busy_handler(connection, WaitForLock, connection);
}

bool MayWaitLonger(double waitedSeconds) { return waitedSeconds < settings.timeoutSeconds; }

std::string DescribeLockHolder(const std::string& databaseFile) {
  long pid = WriteLockHolder(databaseFile + "-shm", kShmWriteLockByte);
  if (pid == 0) pid = WriteLockHolder(databaseFile, kReservedLockByte);
  if (pid == 0) return "another process";
  const std::string command = CommandLineOf(pid);
  return "process " + std::to_string(pid) + (command.empty() ? "" : " (" + command + ")");
}

void ThrowLockTimeout(sqlite3* connection, const std::string& statementText) {
  const std::string file = DatabaseFileName(connection);
  std::ostringstream waited;
  waited << settings.timeoutSeconds;
  throw CDatabaseError("task database '" + file + "' is locked by " + DescribeLockHolder(file) +
                       ": gave up waiting for it after " + waited.str() +
                       " s in: " + statementText);
}
