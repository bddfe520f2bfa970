#ifndef HOST_CONFIGWATCH_H_
#define HOST_CONFIGWATCH_H_

#include <cstdint>
#include <string>
#include <vector>

#include "host/ConfigStore.h"
#include "host/EventThread.h"
#include "host/Fd.h"

namespace host {

// Has stores read their files again when somebody wrote them, in place or by a rename. All files
// are of one folder, which is made when it is missing; where that fails, and when the folder is
// taken away, it is looked for once a second.
class ConfigWatch : public EventSource {
 public:
  // Borrows the stores. The folder is this machine's.
  ConfigWatch(std::string folder, std::vector<ConfigStore*> stores);

  void Want(Wait& wait) override;
  void Serve(const Wait& wait, int64_t nowMs) override;

  // Has every store read its file.
  void ReloadAll();

 private:
  bool Attach();
  void TakeEvents();

  const std::string m_folder;
  const std::vector<ConfigStore*> m_stores;
  Fd m_inotify;
  int m_watch = -1;
  int64_t m_nextTryMs = 0;
};

}  // namespace host

#endif  // HOST_CONFIGWATCH_H_
