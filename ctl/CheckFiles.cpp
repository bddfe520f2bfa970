// SPDX-License-Identifier: Apache-2.0
// What doctor sees on this machine's disk.
#include "ctl/CheckFiles.h"

#include <dirent.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>

#include "ctl/ConfigValues.h"
#include "ctl/DeviceCheck.h"
#include "ctl/Findings.h"
#include "ctl/MapCheck.h"
#include "host/config/ConfigKeys.h"
#include "host/device/DataFolder.h"
#include "host/device/DeviceModel.h"
#include "host/util/Files.h"
#include "host/util/JsonFile.h"
#include "host/util/Paths.h"
#include "https/OutboxRecord.h"
#include "platform/pld/PldConstants.h"
#include "platform/util/LocalPath.h"

namespace ctl {

using host::Problem;

namespace {

constexpr char kSetup[] = "cloudclientctl setup";

std::string TextOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::string Counted(size_t count, const std::string& one) {
  return std::to_string(count) + " " + one + (count == 1 ? "" : "s");
}

// "3 days", "2 hours", "5 minutes", "10 seconds"
std::string AgeText(time_t seconds) {
  struct Unit {
    time_t seconds;
    const char* name;
  };
  for (const Unit& unit : {Unit{86400, "day"}, Unit{3600, "hour"}, Unit{60, "minute"}}) {
    if (seconds >= unit.seconds) {
      return Counted(static_cast<size_t>(seconds / unit.seconds), unit.name);
    }
  }
  return Counted(static_cast<size_t>(std::max<time_t>(seconds, 0)), "second");
}

// The values that a connection needs and that are empty.
std::string MissingValues() {
  const host::ConfigStore& cloud = host::CloudStore();
  std::string missing;
  const auto look = [&missing](const host::ConfigStore& store, const char* key) {
    if (store.Text(key).empty()) missing += (missing.empty() ? "" : ", ") + std::string(key);
  };
  for (const char* key : {host::kUrl, host::kUserEmail, host::kRegistrationKey}) look(cloud, key);
  look(host::SysInfoStore(), host::kSysName);
  return missing;
}

// What else a value is wrong with, as `config set` would say; empty for nothing.
std::string WrongValue() {
  for (const auto& key : host::CloudKeys()) {
    if (key.json.type != host::JsonKey::Type::kText) continue;
    const std::string value = host::CloudStore().Text(key.json.name);
    if (const Problem problem = CheckValue(key, value)) return problem.Text();
  }
  return {};
}

// Whether the user and the group may read the file.
bool MayRead(const struct stat& file, uid_t user, gid_t group) {
  if (user == 0) return true;
  if (file.st_uid == user) return (file.st_mode & S_IRUSR) != 0;
  return (file.st_mode & (file.st_gid == group ? S_IRGRP : S_IROTH)) != 0;
}

// Empty, or why a file is not what it should be for the daemon, whose user and group own its
// folder.
std::string WrongRights(const std::string& path, const struct stat& folder, bool isSecret) {
  struct stat file = {};
  if (stat(LocalPath(path).c_str(), &file) != 0) return {};  // missing, or told of elsewhere
  if (!MayRead(file, folder.st_uid, folder.st_gid)) {
    return path + " can't be read by user " + std::to_string(folder.st_uid) +
           ", to whom its folder belongs, and so the daemon";
  }
  const bool isOthersGroup = file.st_gid != folder.st_gid && (file.st_mode & S_IRGRP) != 0;
  if (isSecret && (isOthersGroup || (file.st_mode & S_IROTH) != 0)) {
    return path + " can be read by others";
  }
  return {};
}

// What is wrong with the files that the policy names; empty for nothing.
std::string WrongFile(const cloudclient::Policy& policy) {
  const auto& transport = policy.transport;
  for (const std::string& path :
       {transport.caFile, transport.caPath, transport.clientCertificate, transport.clientKey}) {
    if (!path.empty() && access(LocalPath(path).c_str(), R_OK) != 0) {
      return path + ": " + std::strerror(errno);
    }
  }
  return {};
}

void CheckMapFile(const std::string& path, const host::DeviceModel& device, Checkup& checkup) {
  const std::string local = LocalPath(path);
  cloudclient::PatchMap map;
  if (map.Load(path) > 1) {
    checkup.Wrong("map", path + " can't be loaded", "cloudclientctl map check " + local);
    return;
  }
  const host::JsonRef root(json_load_file(local.c_str(), JSON_DECODE_ANY, nullptr));
  Findings findings = CheckMap(map, root.get(), host::FolderOf(local), &device);
  FindKeysWrittenTwice(local, findings);
  if (findings.empty()) {
    checkup.Good("map", path);
  } else {
    checkup.Wrong(
        "map", path + ": " + findings.front() + " (of " + Counted(findings.size(), "finding") + ")",
        "cloudclientctl map check " + local);
  }
}

void CheckDataFilesOf(const host::DeviceModel& device, Checkup& checkup) {
  if (!device.psi) {
    checkup.Wrong("data files", "the device has no ProductSequenceId: its files are not looked for",
                  "write one into device.json");
    return;
  }
  std::string map;
  for (const char* name : {pld::kChassisTemplateFile, pld::kPatchMapFile}) {
    const std::string path = host::PathOfDataFile(*device.psi, name);
    if (path.empty()) {
      checkup.Wrong("data files", std::string(name) + " is nowhere on the device's path",
                    std::string("put it into ") + pld::kDataFolder);
    } else {
      checkup.Good("data files", path);
    }
    if (name == std::string(pld::kPatchMapFile)) map = path;
  }
  if (!map.empty()) CheckMapFile(map, device, checkup);
}

// What waits in the files of a folder of the outbox.
struct Waiting {
  size_t count = 0;
  time_t oldest = 0;
};

void CountRecords(const std::string& text, Waiting& waiting) {
  cloudclient::OutboxRecord record;
  const std::string_view all = text;
  for (size_t offset = 0; offset < all.size();) {
    bool waits = false;
    const size_t size = cloudclient::ReadOutboxRecord(all.substr(offset), record, waits);
    if (size == 0) {
      offset = std::min(all.find('\n', offset), all.size() - 1) + 1;
      continue;
    }
    offset += size;
    if (!waits) continue;
    if (waiting.count++ == 0 || record.time < waiting.oldest) waiting.oldest = record.time;
  }
}

Problem CountWaiting(const std::string& folder, Waiting& waiting) {
  const std::unique_ptr<DIR, int (*)(DIR*)> open(opendir(LocalPath(folder).c_str()), &closedir);
  if (!open) return Problem::OfErrno(errno).With(folder);
  while (const dirent* const entry = readdir(open.get())) {
    const std::string name = entry->d_name;
    constexpr char kSuffix[] = ".outbox";
    constexpr size_t kSize = sizeof kSuffix - 1;
    if (name.size() <= kSize || name.compare(name.size() - kSize, kSize, kSuffix) != 0) continue;
    CountRecords(TextOf(LocalPath(folder + "/" + name)), waiting);
  }
  return {};
}

// Room on the disk of the nearest folder above a path that there is.
std::optional<uint64_t> RoomAt(std::string path) {
  struct statvfs room = {};
  while (statvfs(LocalPath(path).c_str(), &room) != 0) {
    if (errno != ENOENT || path == "/") return std::nullopt;
    path = host::FolderOf(path);
  }
  return uint64_t{room.f_bavail} * room.f_frsize;
}

}  // namespace

void CheckConfiguration(Checkup& checkup) {
  for (const char* path : {host::kCloudFile, host::kSysInfoFile}) {
    host::JsonRef object;
    const Problem problem = host::ReadJsonObject(LocalPath(path), object);
    if (problem.Errno() == ENOENT) {
      checkup.Wrong("configuration", std::string("there is no ") + path, kSetup);
    } else if (problem) {
      checkup.Wrong("configuration", problem.Text(), "correct it; the daemon keeps what it had");
    }
  }
  if (checkup.IsWrong("configuration")) return;
  const std::string missing = MissingValues();
  const std::string wrong = WrongValue();
  if (!missing.empty()) {
    checkup.Wrong("configuration", "empty: " + missing, kSetup);
  } else if (!wrong.empty()) {
    checkup.Wrong("configuration", wrong, kSetup);
  } else if (!host::CloudStore().Flag(host::kEnabled)) {
    checkup.Wrong("configuration", "the appliance is disabled", "cloudclientctl enable");
  } else {
    checkup.Good("configuration", std::string("complete, in ") + host::kConfigFolder);
  }
}

void CheckRights(const cloudclient::Policy& policy, Checkup& checkup) {
  struct stat folder = {};
  if (stat(LocalPath(host::kConfigFolder).c_str(), &folder) != 0) {
    checkup.Wrong("rights", std::string(host::kConfigFolder) + ": " + std::strerror(errno), kSetup);
    return;
  }
  struct File {
    const char* path;
    bool isSecret;
  };
  for (const File& file : {File{host::kCloudFile, true}, File{host::kSysInfoFile, false},
                           File{host::kDeviceFile, false},
                           File{cloudclient::kPolicyFile, !policy.transport.proxyAuth.empty()}}) {
    const std::string wrong = WrongRights(file.path, folder, file.isSecret);
    if (wrong.empty()) continue;
    checkup.Wrong("rights", wrong,
                  "chown --reference=" + LocalPath(host::kConfigFolder) + " " +
                      LocalPath(file.path) + " && chmod 600 " + LocalPath(file.path));
  }
  if (!checkup.IsWrong("rights")) {
    checkup.Good("rights", "user " + std::to_string(folder.st_uid) + " can read the files");
  }
}

void CheckPolicy(const cloudclient::PolicyReading& reading, Checkup& checkup) {
  if (!reading.problem.empty()) {
    checkup.Wrong("policy", reading.problem, "correct it: the daemon does not start with it");
    return;
  }
  if (!reading.exists) {
    checkup.Notice("policy",
                   "none: no certificate is checked, no request has an end, what can't be "
                   "delivered is lost",
                   std::string(R"({"Preset": "hardened"} in )") + cloudclient::kPolicyFile);
    return;
  }
  const std::string wrong = WrongFile(reading.policy);
  if (wrong.empty()) {
    checkup.Good("policy", cloudclient::kPolicyFile);
  } else {
    checkup.Wrong("policy", wrong, "put the file there that the policy names");
  }
}

void CheckDevice(Checkup& checkup) {
  const std::string path = LocalPath(host::kDeviceFile);
  host::JsonRef root;
  if (const Problem problem = host::ReadJsonObject(path, root)) {
    const bool isMissing = problem.Errno() == ENOENT;
    checkup.Wrong("device",
                  isMissing ? std::string("there is no ") + host::kDeviceFile : problem.Text(),
                  isMissing ? "describe the device there" : "correct it");
    return;
  }
  host::DeviceModel device;
  Findings findings = FindingsOf(root.get(), device);
  FindKeysWrittenTwice(path, findings);
  if (findings.empty()) {
    checkup.Good("device", Counted(device.points.size(), "point") + ", " +
                               Counted(device.events.size(), "event"));
  } else {
    checkup.Wrong("device", findings.front() + " (of " + Counted(findings.size(), "finding") + ")",
                  "cloudclientctl device check " + path);
  }
  CheckDataFilesOf(device, checkup);
}

void CheckOutbox(const cloudclient::Policy& policy, Checkup& checkup) {
  const std::string& folder = policy.outbox.folder;
  if (folder.empty()) {
    checkup.Notice("outbox", "none: what can't be delivered is lost");
    return;
  }
  Waiting waiting;
  const Problem problem = CountWaiting(folder, waiting);
  // What the device told and the poster has not taken yet; nothing where the folder is not there.
  if (!problem) static_cast<void>(CountWaiting(folder + "/told", waiting));
  if (problem.Errno() == ENOENT) {
    checkup.Good("outbox", "nothing was ever put into " + folder);
  } else if (problem) {
    checkup.Wrong("outbox", problem.Text(), "give the folder to the daemon's user");
  } else if (waiting.count == 0) {
    checkup.Good("outbox", "empty");
  } else {
    constexpr time_t kLong = 600;
    const time_t age = time(nullptr) - waiting.oldest;
    const std::string text =
        std::to_string(waiting.count) + " to be delivered, the oldest since " + AgeText(age);
    if (age < kLong) {
      checkup.Good("outbox", text);
    } else {
      checkup.Wrong("outbox", text, "see what is wrong with the service");
    }
  }
}

void CheckDisk(const cloudclient::Policy& policy, Checkup& checkup) {
  constexpr uint64_t kMebibyte = 1024UL * 1024;
  constexpr uint64_t kLeast = 8 * kMebibyte;
  const std::string& outbox = policy.outbox.folder;
  for (const std::string& path : {std::string(host::kConfigFolder), outbox}) {
    if (path.empty()) continue;
    const std::optional<uint64_t> room = RoomAt(path);
    // What the outbox may take.
    const uint64_t wanted = path == outbox ? policy.outbox.maxBytes + kMebibyte : kLeast;
    const std::string text = room ? std::to_string(*room / kMebibyte) + " MiB free at " + path
                                  : path + " can't be looked at";
    if (room && *room >= wanted) {
      checkup.Good("disk", text);
    } else {
      checkup.Wrong("disk", text, "make room for " + std::to_string(wanted / kMebibyte) + " MiB");
    }
  }
}

}  // namespace ctl
