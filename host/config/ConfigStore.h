// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_CONFIG_CONFIGSTORE_H_
#define HOST_CONFIG_CONFIGSTORE_H_

#include <list>
#include <set>
#include <string>
#include <vector>

#include "host/util/Json.h"
#include "host/util/JsonKeys.h"
#include "host/util/Mutex.h"
#include "host/util/Problem.h"

namespace host {

// One configuration file: a JSON object whose members are the keys.
//
// Values are read and written in memory. `Save` reads the file again and puts what was set since
// the last save into it: of two processes that write at the same time neither loses the other's
// change, and unknown keys stay. A file that can't be read or parsed is logged once; the values in
// use stay, and the file is not overwritten. Any thread; no lock is held while something is logged.
class ConfigStore {
 public:
  // Which texts a person may set, and whether they are shown.
  enum class Form {
    kAny,
    kSecret,  // no message for others shows it (host/util/Secrets.h)
    kUrl,     // of a service
    kUuid,    // or empty, for a new one
    kName,    // of the appliance
  };
  // A key of the file.
  struct Key {
    JsonKey json;
    Form form = Form::kAny;
  };

  // `path` is this machine's. Reads the file; a missing one is an empty object. `Save` waits for
  // `lockWaitMs` at most.
  ConfigStore(std::string path, std::vector<Key> keys, int lockWaitMs = 5000);
  ConfigStore(const ConfigStore&) = delete;
  ConfigStore& operator=(const ConfigStore&) = delete;

  const std::string& Path() const { return m_path; }

  // Reads the file again. False when it could not be read, values are then as they were. A file
  // that has vanished leaves the values as well: it is about to be replaced, or Save writes it.
  bool Reload();

  // Writes the file, which keeps owner, group and mode; a link stays, and what it names is written.
  // Waits for another process that writes it and for the disk; nothing else of this store waits
  // meanwhile. False, with a message, when it could not be written; the file is then as it was, and
  // what was set is kept for the next save.
  bool Save();

  // Names of the keys whose values another process changed since the last call, each once.
  std::vector<std::string> TakeChanges();

  // Values. A missing key, one of a wrong type and a text with a NUL byte are empty, false, null.
  // `Object` is a copy.
  std::string Text(const char* key) const;
  bool Flag(const char* key) const;
  JsonRef Object(const char* key) const;

  // Set values in memory. A problem, and nothing is changed, when a text or a member's name is not
  // UTF-8 or holds a NUL byte, and when a member's name is empty.
  Problem SetText(const char* key, const std::string& text);
  void SetFlag(const char* key, bool flag);
  // A member of the object `key`; null removes it.
  Problem SetMember(const char* key, const std::string& member, JsonRef value);
  // Leaves the object `key` without members.
  void ClearObject(const char* key);

 private:
  // A value that was set and not saved yet. Without a member the key as a whole.
  struct Edit {
    unsigned long serial;
    std::string key;
    std::string member;
    JsonRef value;
  };

  // Messages that are still to be written.
  struct Line {
    bool unknownKeys;  // the text lists them; else it is a problem
    std::string text;
  };
  using Lines = std::vector<Line>;

  void SetLocked(const std::string& key, const std::string& member, JsonRef value)
      REQUIRES(m_mutex);
  void KeepSecretsLocked() const REQUIRES(m_mutex);
  Problem Refresh(Lines& lines) EXCLUDES(m_readMutex);
  void AdoptLocked(const json_t* stored, Lines& lines) REQUIRES(m_mutex);
  void CheckKeysLocked(const json_t* stored, Lines& lines) REQUIRES(m_mutex);
  void Log(const Lines& lines) const;
  Problem Write(Problem& warning, Lines& lines);

  const std::string m_path;
  const std::vector<Key> m_keys;
  const int m_lockWaitMs;

  // Held from a reading of the file until its values are taken over: an older reading must not
  // come after a newer one, nor after the end of a save. Taken before m_mutex.
  Mutex m_readMutex ACQUIRED_BEFORE(m_mutex);

  mutable Mutex m_mutex;
  // As last read or written, with the edits.
  JsonRef m_current GUARDED_BY(m_mutex);
  std::list<Edit> m_edits GUARDED_BY(m_mutex);
  unsigned long m_lastSerial GUARDED_BY(m_mutex) = 0;
  std::vector<std::string> m_changes GUARDED_BY(m_mutex);
  std::string m_reported GUARDED_BY(m_mutex);
  std::set<std::string> m_reportedKeys GUARDED_BY(m_mutex);
};

}  // namespace host

#endif  // HOST_CONFIG_CONFIGSTORE_H_
