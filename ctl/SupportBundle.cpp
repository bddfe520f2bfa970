// SPDX-License-Identifier: Apache-2.0
// What a support case needs, in one file and without secrets.
#include "ctl/SupportBundle.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <memory>

#include "base/PolicyFile.h"
#include "ctl/CheckService.h"
#include "ctl/DeviceSocket.h"
#include "ctl/Journal.h"
#include "ctl/Output.h"
#include "host/config/ConfigKeys.h"
#include "host/device/DataFolder.h"
#include "host/device/DeviceModel.h"
#include "host/util/JsonFile.h"
#include "host/util/Paths.h"
#include "host/util/Secrets.h"
#include "platform/pld/PldConstants.h"
#include "platform/util/LocalPath.h"

namespace ctl {

using host::Problem;

namespace {

class Bundle {
 public:
  explicit Bundle(FILE* file) : m_file(file) {}

  void Begin(const std::string& title) { Write("\n== " + title); }
  void Write(const std::string& line) {
    std::fprintf(m_file, "%s\n", WithoutKeys(host::WithoutSecrets(line)).c_str());
  }
  // A file of this machine, line by line.
  void WriteFile(const std::string& path) {
    Begin(path);
    const std::unique_ptr<FILE, int (*)(FILE*)> file(std::fopen(path.c_str(), "re"), &std::fclose);
    if (!file) return Write(Problem::OfErrno(errno).Text());
    for (std::string line; ReadLine(file.get(), line);) Write(line);
  }

 private:
  FILE* const m_file;
};

void WriteMachine(Bundle& bundle) {
  struct utsname machine = {};
  uname(&machine);
  std::array<char, 32> now = {};
  const time_t seconds = time(nullptr);
  struct tm fields = {};
  strftime(now.data(), now.size(), "%Y-%m-%dT%H:%M:%SZ", gmtime_r(&seconds, &fields));
  bundle.Write(std::string("cloudclientctl ") + CLOUDCLIENT_VERSION + ", " + now.data());
  bundle.Write(std::string(machine.sysname) + " " + machine.release + " " + machine.machine);
}

// Texts and flags; the secrets among them are masked whatever their length.
void WriteConfiguration(Bundle& bundle) {
  bundle.Begin(host::kConfigFolder);
  const auto write = [&bundle](const host::ConfigStore& store, const host::ConfigStore::Key& key) {
    using Type = host::JsonKey::Type;
    const char* const name = key.json.name;
    const bool isSecret = key.form == host::ConfigStore::Form::kSecret;
    std::string value = store.Text(name);
    if (isSecret && !value.empty()) value = host::kMask;
    if (key.json.type == Type::kFlag) value = store.Flag(name) ? "true" : "false";
    if (key.json.type == Type::kNamedObjects) {
      const host::JsonRef object = store.Object(name);
      value = object == nullptr ? "{}" : host::DumpedJson(object.get(), 0);
    }
    bundle.Write(std::string(name) + " " + Printable(value));
  };
  for (const auto& key : host::CloudKeys()) write(host::CloudStore(), key);
  for (const auto& key : host::SysInfoKeys()) write(host::SysInfoStore(), key);
}

void WritePolicy(Bundle& bundle) {
  bundle.Begin(cloudclient::kPolicyFile);
  const cloudclient::PolicyReading reading =
      cloudclient::ReadPolicy(LocalPath(cloudclient::kPolicyFile));
  if (!reading.problem.empty()) bundle.Write(reading.problem);
  if (!reading.exists) bundle.Write("there is none");
  for (const cloudclient::PolicyValue& value : reading.values) {
    bundle.Write(value.key + " " +
                 Printable(value.secret ? host::kMask : WithoutUser(value.value)));
  }
}

void WriteDevice(Bundle& bundle) {
  const std::string path = LocalPath(host::kDeviceFile);
  bundle.WriteFile(path);
  host::JsonRef root;
  if (host::ReadJsonObject(path, root)) return;
  std::vector<std::string> findings;
  const host::DeviceModel device = host::ParseDeviceModel(root.get(), findings);
  for (const char* name : {pld::kChassisTemplateFile, pld::kPatchMapFile}) {
    const std::string found = device.psi ? host::PathOfDataFile(*device.psi, name) : "";
    if (!found.empty()) bundle.WriteFile(LocalPath(found));
  }
}

void WriteMessages(Bundle& bundle, double seconds) {
  const host::JsonRef request(json_pack("{s:s}", "op", "messages"));
  host::JsonRef answer;
  if (const Problem problem = RequestFromDaemon(request.get(), seconds, answer)) {
    return bundle.Write(problem.Text());
  }
  size_t index = 0;
  const json_t* message = nullptr;
  json_array_foreach(json_object_get(answer.get(), "messages"), index, message) {
    bundle.Write(Cell(message, "time") + " " + Cell(message, "level") + " " +
                 Cell(message, "unit") + " " + Cell(message, "text"));
  }
}

void WriteLog(Bundle& bundle, double seconds) {
  bundle.Begin("the journal");
  Journal journal;
  Problem problem = journal.Open("cloudclient", "--lines=5000");
  if (!problem) {
    for (std::string line; ReadLine(journal.Lines(), line);) bundle.Write(Printable(line));
    problem = journal.End();
  }
  if (!problem) return;
  bundle.Write(problem.Text());
  bundle.Begin("the daemon's newest failures and warnings");
  WriteMessages(bundle, seconds);
}

void WriteAll(Bundle bundle, const Checkup& checkup, double seconds) {
  WriteMachine(bundle);
  bundle.Begin("doctor");
  bundle.Write(checkup.Text());
  WriteConfiguration(bundle);
  WritePolicy(bundle);
  WriteDevice(bundle);
  WriteLog(bundle, seconds);
}

// Masks what follows `before`, in any case and behind blanks, up to a line end, which inside a
// message stands as "\r\n" in it.
void MaskBehind(std::string& line, const std::string& before) {
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
  const auto same = [&lower](char a, char b) { return lower(a) == b; };
  for (size_t from = 0;;) {
    const auto found = std::search(line.begin() + static_cast<std::ptrdiff_t>(from), line.end(),
                                   before.begin(), before.end(), same);
    if (found == line.end()) return;
    const auto behind = static_cast<size_t>(found - line.begin()) + before.size();
    from = std::min(line.find_first_not_of(' ', behind), line.size());
    const size_t end = std::min(line.find_first_of("\\\r\n", from), line.size());
    if (end == from) continue;
    line.replace(from, end - from, host::kMask);
    from += sizeof host::kMask - 1;
  }
}

}  // namespace

std::string WithoutKeys(std::string line) {
  for (const char* before : {"x-auth-token:", "xauthtoken:", "authorization:", "registration_key=",
                             "failed to delete manager ("}) {
    MaskBehind(line, before);
  }
  return line;
}

Problem WriteSupportBundle(const std::string& file, const Checkup& checkup, double seconds) {
  const int fd = open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (fd < 0) return Problem::OfErrno(errno).With(file);
  std::unique_ptr<FILE, int (*)(FILE*)> out(fdopen(fd, "w"), &std::fclose);
  try {
    WriteAll(Bundle(out.get()), checkup, seconds);
  } catch (...) {
    unlink(file.c_str());
    throw;
  }
  const bool isWritten = std::fflush(out.get()) == 0 && std::ferror(out.get()) == 0;
  if (isWritten && std::fclose(out.release()) == 0) return {};
  const int error = errno;
  unlink(file.c_str());
  return Problem::OfErrno(error).With(file);
}

}  // namespace ctl
