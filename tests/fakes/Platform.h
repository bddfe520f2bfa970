// SPDX-License-Identifier: Apache-2.0
#ifndef FAKES_PLATFORM_H_
#define FAKES_PLATFORM_H_

#include <ctime>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "fakes/Config.h"
#include "fakes/Pld.h"
#include "fakes/Process.h"

namespace fakes {

// One message given to the log.
struct LogRecord {
  int level;
  std::string unit;
  std::string format;
  std::string text;
};

struct Log {
  std::vector<LogRecord> records;
  // Called after the recording of each message; may throw.
  std::function<void(const LogRecord&)> hook;

  // "LEVEL UNIT TEXT" of each message, in order, and those of the levels up to `level`.
  std::vector<std::string> Lines(int level = 7) const;
  // How often such a line was logged.
  size_t Count(const std::string& line) const;
};

// What the application's framework answers, and which of the base classes' operations were called
// ("LxBaseProxyApp::OnStart").
struct Framework {
  std::string name;
  bool stop = false;
  int managedVelId = 1;
  bool hasProxy = true;
  std::string appVersion = "1.4.0";
  std::vector<std::string> calls;
};

// Mutexes are numbered in the order of their construction since the last reset.
struct Mutexes {
  int made = 0;
  int locks = 0;
  int unlocks = 0;
  // What `Lock` answers, without locking: of all mutexes, and of single ones.
  unsigned int lockStatus = 0;
  std::map<int, unsigned int> lockStatusOf;
  // Called with the mutex's number before each `Lock`.
  std::function<void(int number)> onLock;

  int Held() const { return locks - unlocks; }
};

struct Timer {
  struct Alarm {
    unsigned short id;
    struct tm when;
    void (*expired)(unsigned short, void*);
    void (*cancelled)(unsigned short, void*);
    void* context;
  };

  int activations = 0;
  bool knowsTomorrow = true;
  unsigned short nextId = 1;
  // Alarms in the order of their creation: those waiting, and every one that was ever armed.
  std::vector<Alarm> waiting;
  std::vector<Alarm> armed;
  std::vector<unsigned short> cancels;  // each argument of CancelTimer

  // Ends a waiting alarm with its callback, on the calling thread. False when there is none.
  bool Expire(unsigned short id);
  bool Cancel(unsigned short id);
};

struct Network {
  std::string address = "192.0.2.17";
  int status = 0;
};

struct Page {
  std::string query;
  std::string page;
  int velId;
  bool hasProxy;
};

struct Pages {
  // Text of a page by its name, or by "NAME?QUERY", which goes first; a page that is in neither is
  // empty.
  std::map<std::string, std::string> texts;
  std::vector<Page> asked;
};

// Everything that the doubles of the platform answer and have seen. Settings are made by the test
// before the code under test runs; the doubles may be called from any thread.
class Platform {
 public:
  CloudConfig cloud;
  SysInfoConfig sysInfo;
  // Calls that change or store configuration, in order: "SetXAuthToken(abc)", "Save()".
  std::vector<std::string> configCalls;

  Framework framework;
  PldProxy proxy;
  Pages pages;
  std::map<uint16_t, std::string> stateTexts = {
      {0, "Cleared"}, {1, "Message"}, {2, "Warning"}, {3, "Alarm"}, {4, "Fault"}};

  Log log;
  Mutexes mutexes;
  Timer timer;
  Network network;
  std::string root;  // what LocalPath prepends

  Clock clock;
  Sleeps sleeps;
  Threads threads;
};

// The one platform of the process.
Platform& platform();

// Back to the defaults: clock at 2026-03-05T13:07:09Z, time zone UTC.
void Reset();

// The local time zone, as the variable TZ has it ("CET-1").
void SetTimeZone(const char* zone);

// Held by the doubles while they record.
std::recursive_mutex& RecordMutex();
typedef std::lock_guard<std::recursive_mutex> RecordLock;

}  // namespace fakes

#endif  // FAKES_PLATFORM_H_
