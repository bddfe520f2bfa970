// SPDX-License-Identifier: Apache-2.0
// log explain
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include <CLI/CLI.hpp>

#include "ctl/Commands.h"
#include "ctl/Journal.h"
#include "ctl/MessageTable.h"
#include "ctl/Output.h"

namespace ctl {

using host::Problem;

namespace {

const char kLogExamples[] = R"(Examples:
  cloudclientctl log explain
  cloudclientctl log explain --unit cloudclient.service --since today
  cloudclientctl log explain < daemon.log)";

struct LogArguments {
  std::string unit = "cloudclient";
  std::string since;
  std::string file;
};

typedef std::unique_ptr<FILE, int (*)(FILE*)> File;

void PrintExplanation(const Explanation& explanation) {
  const auto print = [](const std::string& text) {
    if (!text.empty()) PrintLine("    " + text);
  };
  print(explanation.happened);
  for (const std::string& number : explanation.numbers) print(number);
  if (!explanation.toDo.empty()) print("To do: " + explanation.toDo);
}

host::JsonRef LineJson(const std::string& line, const std::optional<Explanation>& explanation) {
  host::JsonRef object(json_object());
  const auto set = [&object](const char* key, const std::string& value) {
    json_object_set_new(object.get(), key, host::AnyText(value).release());
  };
  set("line", line);
  if (!explanation) return object;
  set("happened", explanation->happened);
  set("toDo", explanation->toDo);
  const host::JsonRef numbers(json_array());
  for (const std::string& number : explanation->numbers) {
    json_array_append_new(numbers.get(), host::AnyText(number).release());
  }
  json_object_set(object.get(), "numbers", numbers.get());
  return object;
}

// Explains each line as it comes: the input may be a log that goes on.
int Explain(const Choice& choice, FILE* log, const std::string& name) {
  const MessageTable table(kMessagesDocument);
  const host::JsonRef all(json_array());
  for (std::string line; ReadLine(log, line);) {
    const std::optional<Explanation> explanation = table.Find(line);
    if (choice.json) {
      json_array_append_new(all.get(), LineJson(line, explanation).release());
      continue;
    }
    PrintLine(Printable(line));
    if (explanation) PrintExplanation(*explanation);
    std::fflush(stdout);
  }
  if (std::ferror(log) != 0) {
    PrintError(name + " can't be read");
    return kFailed;
  }
  if (choice.json) PrintJson(all.get());
  return kDone;
}

int ExplainJournal(const Choice& choice, const LogArguments& arguments) {
  Journal journal;
  Problem problem = journal.Open(arguments.unit,
                                 arguments.since.empty() ? "--boot" : "--since=" + arguments.since);
  if (problem) {
    PrintError(problem.Text());
    return kFailed;
  }
  const int status = Explain(choice, journal.Lines(), "the journal");
  problem = journal.End();
  if (!problem) return status;
  PrintError(problem.Text());
  return kFailed;
}

int ExplainLog(const Choice& choice, const LogArguments& arguments) {
  if (!arguments.file.empty() && arguments.file != "-") {
    const File log(std::fopen(arguments.file.c_str(), "re"), &std::fclose);
    if (log) return Explain(choice, log.get(), arguments.file);
    PrintError(arguments.file + ": " + std::strerror(errno));
    return kFailed;
  }
  // Nobody types a log.
  const bool isPiped = arguments.file == "-" || isatty(STDIN_FILENO) == 0;
  return isPiped && arguments.since.empty() ? Explain(choice, stdin, "standard input")
                                            : ExplainJournal(choice, arguments);
}

}  // namespace

void AddLogCommands(CLI::App& app, Choice& choice) {
  const auto arguments = std::make_shared<LogArguments>();
  CLI::App* const log = app.add_subcommand("log", "Look at the daemon's log");
  log->require_subcommand(1);
  log->fallthrough();
  log->footer(kLogExamples);
  CLI::App* const explain = log->add_subcommand(
      "explain", "Write a log and below each line what it means and what to do");
  explain->add_option("FILE", arguments->file,
                      "The log; if not given, standard input, or at a terminal the journal");
  explain->add_option("--unit", arguments->unit, "The daemon's unit in the journal")
      ->capture_default_str();
  explain->add_option("--since", arguments->since,
                      "Of the journal what came since, as journalctl takes it; else since the "
                      "machine's start");
  explain->callback([&choice, arguments] {
    choice.run = [&choice, arguments] { return ExplainLog(choice, *arguments); };
  });
}

}  // namespace ctl
