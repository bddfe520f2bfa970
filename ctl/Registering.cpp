// SPDX-License-Identifier: Apache-2.0
// The daemon's taking of a new configuration, as it is seen from outside.
#include "ctl/Registering.h"

#include <unistd.h>

#include "ctl/CheckService.h"
#include "ctl/DeviceSocket.h"
#include "ctl/Dial.h"
#include "ctl/Spawn.h"
#include "host/config/ConfigKeys.h"
#include "platform/util/LocalPath.h"

namespace ctl {

using host::Problem;

namespace {

constexpr char kServiceManager[] = "systemctl";
// The manager itself gives a unit that does not stop 90 s.
constexpr double kLongestRestart = 120;

Problem RestartByManager() {
  pid_t process = 0;
  if (Problem problem =
          Spawn({kServiceManager, "restart", "cloudclient"}, STDERR_FILENO, process)) {
    return problem;
  }
  return AwaitEnd(kServiceManager, process, kLongestRestart);
}

bool IsRunning(double seconds) {
  const host::JsonRef request(json_pack("{s:s}", "op", "messages"));
  host::JsonRef answer;
  return !IsDaemonMissing(RequestFromDaemon(request.get(), seconds, answer));
}

}  // namespace

std::string HaveDaemonRestarted(bool isNeeded, double seconds) {
  const bool isRunning = IsRunning(seconds);
  if (isRunning && !isNeeded) return {};
  const std::string what =
      isRunning ? "restart the daemon, which has the former policy" : "start the daemon";
  // systemd has this folder where it is the machine's first process.
  const bool hasManager = access(LocalPath("/run/systemd/system").c_str(), F_OK) == 0;
  if (!hasManager || geteuid() != 0) return "Now " + what + ": systemctl restart cloudclient";
  const Problem problem = RestartByManager();
  return problem ? problem.Text() + ": " + what : std::string();
}

bool AwaitRegistration(const std::string& url, const std::string& formerToken, double wait,
                       double seconds) {
  constexpr useconds_t kPause = 300000;
  host::ConfigStore& cloud = host::CloudStore();
  const SteadyClock::time_point end = After(wait);
  do {
    cloud.Reload();
    const Appliance now = {url, cloud.Text(host::kUuid), cloud.Text(host::kXAuthToken)};
    const bool isComplete = !now.token.empty() && now.token != formerToken &&
                            json_object_size(cloud.Object(host::kChassis).get()) != 0;
    if (isComplete && IsKnown(now, seconds)) return true;
    usleep(kPause);
  } while (SteadyClock::now() < end);
  return false;
}

}  // namespace ctl
