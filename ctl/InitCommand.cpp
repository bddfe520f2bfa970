// SPDX-License-Identifier: Apache-2.0
// device init hwmon|snmp|redfish|modbus
#include <algorithm>
#include <cerrno>
#include <initializer_list>
#include <memory>
#include <optional>
#include <utility>

#include <CLI/CLI.hpp>

#include "ctl/Commands.h"
#include "ctl/DeviceCheck.h"
#include "ctl/NewDevice.h"
#include "ctl/NewFiles.h"
#include "ctl/Output.h"
#include "ctl/PointTable.h"
#include "host/device/SourceLoader.h"
#include "host/util/Clock.h"
#include "host/util/Files.h"
#include "host/util/Paths.h"
#include "platform/pld/PldConstants.h"
#include "platform/util/LocalPath.h"

namespace ctl {

namespace {

using host::JsonRef;
using host::Problem;

constexpr int64_t kLongestLookMs = 60000;  // for all of a device
constexpr size_t kLargestTable = size_t{1} << 20;

const char kInitExamples[] = R"(Examples:
  cloudclientctl device init hwmon --label "Server 3"
  cloudclientctl device init snmp pdu-7.example.org --credentials /etc/cloudclient/pdu-7.json
  cloudclientctl device init snmp 192.0.2.7:161 --snmp-version 2c --oid 1.3.6.1.4.1.58888 \
      --credentials /etc/cloudclient/pdu-7.json
  cloudclientctl device init redfish https://bmc.example.org --credentials /etc/cloudclient/bmc.json
  cloudclientctl device init modbus 192.0.2.9 --table registers.csv --to trial
  cloudclientctl device init modbus /dev/ttyUSB0 --baud 19200 --parity none --stop-bits 2 \
      --table registers.csv)";

// What the command line says.
struct InitWords {
  NewDeviceWords device;
  std::string where;  // the device: address, URL, path of a line
  std::string begin;  // where in it to look
  std::string table;
  std::string version = "3";
  std::string credentials;
  std::string caFile;
  std::string pin;
  std::optional<int> baud;
  std::string parity;
  std::optional<int> stopBits;
  std::string to;  // a folder for all files
  size_t most = 200;
  bool replace = false;
};

// Texts and numbers among the settings of a connection; those that nobody gave are left out.
std::string SettingsOf(
    std::initializer_list<std::pair<const char*, std::string>> texts,
    std::initializer_list<std::pair<const char*, std::optional<int>>> numbers = {}) {
  const JsonRef settings(json_object());
  for (const auto& [key, text] : texts) {
    if (!text.empty()) host::PutJson(settings.get(), key, host::AnyText(text));
  }
  for (const auto& [key, number] : numbers) {
    if (number) host::PutJson(settings.get(), key, JsonRef(json_integer(*number)));
  }
  return host::DumpedJson(settings.get(), JSON_COMPACT);
}

std::string ConnectionOf(const InitWords& words) {
  const std::string& type = words.device.type;
  if (type == "snmp") {
    return SettingsOf(
        {{"Address", words.where}, {"Version", words.version}, {"Credentials", words.credentials}});
  }
  if (type == "redfish") {
    return SettingsOf({{"Url", words.where},
                       {"Credentials", words.credentials},
                       {"CaFile", words.caFile},
                       {"PinnedPublicKey", words.pin}});
  }
  if (type != "modbus") return "{}";
  const bool isLine = words.where.rfind('/', 0) == 0;
  return SettingsOf({{isLine ? "Device" : "Address", words.where}, {"Parity", words.parity}},
                    {{"Baud", words.baud}, {"StopBits", words.stopBits}});
}

Problem ProblemOf(const host::SettingFaults& faults) {
  if (faults.empty()) return {};
  return Problem("\"" + faults.front().key + "\" " + faults.front().what);
}

// The points of a person's table, each looked at by the module.
Problem ReadTable(const host::SourceModule& module, const InitWords& words,
                  const host::OfferRequest& request, host::Offer& offer) {
  std::string text;
  if (Problem problem = host::ReadFile(words.table, kLargestTable, text)) {
    return problem.With(words.table);
  }
  std::vector<TableRow> rows;
  if (Problem problem = ReadPointTable(text, module.PointKeys(), rows)) {
    return problem.With(words.table);
  }
  host::SettingFaults faults;
  const auto connection = module.Open(request.settings, request.limits, faults);
  if (Problem problem = ProblemOf(faults)) return problem.With(words.where);
  host::OfferedSource source;
  source.name = words.where;
  source.settings = request.settings;
  for (const TableRow& row : rows) {
    connection->AddPoint(source.points.size(), row.point.settings, faults);
    if (Problem problem = ProblemOf(faults)) {
      return problem.With("line " + std::to_string(row.line)).With(words.table);
    }
    source.points.push_back(row.point);
  }
  offer.sources.push_back(std::move(source));
  return {};
}

Problem FindOffer(const Choice& choice, const InitWords& words, host::Offer& offer) {
  host::SourceLoader loader;
  Problem problem;
  const host::SourceModule* const module = loader.Load(words.device.type, problem);
  if (module == nullptr) return problem.With("sources of the type \"" + words.device.type + "\"");
  host::OfferRequest request;
  request.settings = ConnectionOf(words);
  request.begin = words.begin;
  request.limits.timeoutMs = std::max(1, static_cast<int>(choice.timeout * 1000));
  request.limits.retries = 1;
  request.most = words.most;
  request.untilMs = host::MonotonicMs() + kLongestLookMs;
  if (!words.table.empty()) return ReadTable(*module, words, request, offer);
  host::SettingFaults faults;
  problem = module->FindOffer(request, faults, offer);
  if (!faults.empty()) problem = ProblemOf(faults);
  if (!problem) return {};
  return words.where.empty() ? problem : problem.With(words.where);
}

// Where the files go: into one folder, or where the daemon looks for them.
std::vector<NewFile> FilesOf(const InitWords& words, const NewDevice& device) {
  std::string folder = words.to;
  std::string description = words.to + "/device.json";
  if (words.to.empty()) {
    std::string steps = words.device.sequence;
    std::replace(steps.begin(), steps.end(), '.', '/');
    folder = LocalPath(std::string(pld::kDataFolder) + "/" + steps);
    description = LocalPath(host::kDeviceFile);
  }
  std::vector<NewFile> files = {
      {description, host::DumpedJson(device.Description(), JSON_INDENT(2)) + "\n"}};
  for (const DataText& data : device.DataFiles()) {
    files.push_back({folder + "/" + data.name, data.text});
  }
  return files;
}

void Report(const Choice& choice, const NewDevice& device, const std::vector<NewFile>& files,
            bool isCut) {
  std::vector<std::vector<std::string>> rows = device.Rows();
  if (choice.json) {
    const JsonRef all(json_object());
    host::PutJson(all.get(), "points", JsonRef(json_integer(static_cast<json_int_t>(rows.size()))));
    host::PutJson(all.get(), "isCut", JsonRef(json_boolean(isCut)));
    host::PutJson(all.get(), "files", JsonRef(json_array()));
    json_t* const names = json_object_get(all.get(), "files");
    for (const NewFile& file : files) host::AppendJson(names, host::AnyText(file.path));
    PrintJson(all.get());
    return;
  }
  rows.insert(rows.begin(), {"POINT", "NAME", "FOUND", "UNIT", "SOURCE"});
  PrintTable(rows);
  PrintLine("");
  if (isCut) PrintLine("There is more: --most takes more, and less is below another beginning.");
  for (const NewFile& file : files) PrintLine("written: " + Printable(file.path));
  PrintLine("The README explains the files. The daemon reads them when it starts.");
}

int Init(const Choice& choice, InitWords words) {
  host::Offer offer;
  if (Problem problem = FindOffer(choice, words, offer)) {
    PrintError(problem.Text());
    return kFailed;
  }
  if (words.device.label.empty()) {
    words.device.label = words.where.empty() ? "This machine" : words.where;
  }
  const NewDevice device(words.device, offer);
  host::DeviceModel model;
  const Findings findings = FindingsOf(device.Description(), model);
  if (!findings.empty()) {
    PrintError(findings.front());
    return kFailed;
  }
  const std::vector<NewFile> files = FilesOf(words, device);
  if (Problem problem = WriteNewFiles(files, words.replace)) {
    const char* const hint = problem.Errno() == EEXIST ? ": --force replaces it" : "";
    PrintError(problem.Text() + hint + "; nothing is written");
    return kFailed;
  }
  Report(choice, device, files, offer.isCut);
  return kDone;
}

using Words = std::shared_ptr<InitWords>;

// A kind of source, with what all of them take.
CLI::App* AddKind(CLI::App& init, Choice& choice, const std::string& type, const char* text,
                  Words& words) {
  words = std::make_shared<InitWords>();
  words->device.type = type;
  words->device.sequence = "1.0.0";
  CLI::App* const kind = init.add_subcommand(type, text);
  kind->add_option("--label", words->device.label, "Name of the device, for persons");
  kind->add_option("--sequence", words->device.sequence,
                   "Product sequence identifier, which names the folder of the data files")
      ->capture_default_str()
      ->check([](const std::string& given) {
        return given.empty() ? std::string("takes numbers joined by full stops") : std::string();
      });
  kind->add_option("--to", words->to, "Folder for all files, in place of the daemon's own");
  kind->add_option("--most", words->most, "Most points that are taken")
      ->capture_default_str()
      ->check(CLI::Range(1, 1000));
  kind->add_flag("--force", words->replace, "Replace files that are there");
  kind->callback(
      [&choice, words] { choice.run = [&choice, words] { return Init(choice, *words); }; });
  return kind;
}

void AddSnmpKind(CLI::App& init, Choice& choice) {
  Words words;
  CLI::App* const kind = AddKind(init, choice, "snmp", "From what an SNMP agent has", words);
  kind->add_option("ADDRESS", words->where, "Its host, and port where it is not 161")->required();
  kind->add_option("--credentials", words->credentials,
                   "The appliance's file of the community or the user")
      ->required();
  kind->add_option("--snmp-version", words->version, "2c or 3")
      ->capture_default_str()
      ->check(CLI::IsMember({"2c", "3"}));
  kind->add_option("--oid", words->begin,
                   "Take the numbers below it, in place of the table of sensors");
}

void AddRedfishKind(CLI::App& init, Choice& choice) {
  Words words;
  CLI::App* const kind =
      AddKind(init, choice, "redfish", "From a chassis of a controller that speaks Redfish", words);
  kind->add_option("URL", words->where, "Its URL, without a slash at its end")->required();
  kind->add_option("--credentials", words->credentials,
                   "The appliance's file of the user or the token");
  kind->add_option("--chassis", words->begin, "Identifier of the chassis, where it has several");
  kind->add_option("--ca-file", words->caFile, "What its certificate is checked against");
  kind->add_option("--pin", words->pin, "Its key, sha256//..., in place of that");
}

void AddModbusKind(CLI::App& init, Choice& choice) {
  Words words;
  CLI::App* const kind =
      AddKind(init, choice, "modbus", "From registers that a table names", words);
  kind->add_option("ADDRESS", words->where, "Its host, and port where it is not 502; or its line")
      ->required();
  kind->add_option("--table", words->table, "The table: a line of names, then a register a line")
      ->required();
  kind->add_option("--baud", words->baud, "Of a line, bits a second; 9600 if not given")
      ->check(CLI::Range(110, 4000000));
  kind->add_option("--parity", words->parity, "Of a line: none, even or odd; even if not given")
      ->check(CLI::IsMember({"none", "even", "odd"}));
  kind->add_option("--stop-bits", words->stopBits, "Of a line: 1 or 2; 1 if not given")
      ->check(CLI::Range(1, 2));
}

}  // namespace

void AddInitCommands(CLI::App& device, Choice& choice) {
  CLI::App* const init = device.add_subcommand(
      "init", "Write a device's description and data files from what a source offers");
  init->require_subcommand(1);
  init->fallthrough();
  init->footer(kInitExamples);
  Words words;
  CLI::App* const hwmon =
      AddKind(*init, choice, "hwmon", "From the monitoring chips of this machine", words);
  hwmon->add_option("--chip", words->begin, "Name of the chip, where not all are meant");
  AddSnmpKind(*init, choice);
  AddRedfishKind(*init, choice);
  AddModbusKind(*init, choice);
}

}  // namespace ctl
