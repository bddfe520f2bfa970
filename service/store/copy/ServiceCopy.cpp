// SPDX-License-Identifier: Apache-2.0
// Carries a service from one database to the other.
#include "service/store/copy/ServiceCopy.h"

#include <cstdint>
#include <utility>

namespace cloudservice {

namespace {

// The names of notes.
constexpr const char* kSource = "source";
std::string NoteOfPlace(const CopiedTable& table) { return table.name + " place"; }
std::string NoteOfRows(const CopiedTable& table) { return table.name + " rows"; }
std::string NoteOfEnd(const CopiedTable& table) { return table.name + " end"; }

// Every bit of the number has a part in each bit of the result.
std::uint64_t Mixed(std::uint64_t number) {
  number = (number ^ (number >> 31)) * 0x7fb5d329728ea185U;
  number = (number ^ (number >> 27)) * 0x81dadef4bc2dd44dU;
  return number ^ (number >> 33);
}

std::uint64_t Mixed(std::uint64_t before, const std::string& text) {
  constexpr std::uint64_t kPrime = 0x100000001b3U;
  std::uint64_t hash = 0xcbf29ce484222325U;
  for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * kPrime;
  return Mixed(Mixed(before + text.size()) ^ hash);
}

// Rows in any order.
struct Sum {
  std::int64_t rows = 0;
  std::uint64_t sum = 0;

  void Add(const CopiedTable& table, const CopiedRow& row) {
    std::uint64_t hash = 0;
    for (std::size_t i = 0; i < row.size(); ++i) {
      if (!table.columns[i].compared) continue;
      hash = Mixed(hash + 1 + row[i].index());
      if (const auto* number = std::get_if<std::int64_t>(&row[i])) {
        hash = Mixed(hash ^ static_cast<std::uint64_t>(*number));
      } else if (const auto* text = std::get_if<std::string>(&row[i])) {
        hash = Mixed(hash, *text);
      }
    }
    ++rows;
    sum += hash;
  }

  bool operator==(const Sum& other) const { return rows == other.rows && sum == other.sum; }
  std::string Text() const {
    return std::to_string(rows) + " rows with the sum " + std::to_string(sum);
  }
};

class ServiceCopy {
 public:
  ServiceCopy(CopySide& source, CopySide& target, const CopyProgress& progress)
      : m_source(source), m_target(target), m_progress(progress) {}

  void Run() {
    Begin();
    for (const CopiedTable& table : CopiedTables()) Copy(table);
    for (const CopiedTable& table : CopiedTables()) Compare(table);
    m_target.Finish(m_source.LastNumbers());
    m_progress.tell("copy complete: " + std::to_string(m_compared) + " rows, the same in " +
                    m_source.Name() + " and " + m_target.Name());
  }

 private:
  void Begin();
  std::string StateOfSource();
  void Copy(const CopiedTable& table);
  void Compare(const CopiedTable& table);
  // Reads all rows of a table, from a place on.
  template <typename Take>
  static void ForRows(CopySide& side, const CopiedTable& table, std::string place,
                      const Take& take);
  // Tells that a table goes on, unless that was told a moment ago.
  void TellRows(const char* what, const CopiedTable& table, std::int64_t rows, std::int64_t all);

  CopySide& m_source;
  CopySide& m_target;
  const CopyProgress& m_progress;
  CopySide::Notes m_notes;
  std::chrono::steady_clock::time_point m_told;
  std::int64_t m_compared = 0;
};

void ServiceCopy::Begin() {
  if (m_source.Identity() == m_target.Identity()) {
    throw DatabaseError(m_source.Name() + " and " + m_target.Name() + " are one database");
  }
  m_source.BeginReading();
  m_target.BeginWriting();
  m_notes = m_target.Noted();
  const std::string state = StateOfSource();
  const bool goesOn = !m_notes.empty();
  if (goesOn && m_notes[kSource] != state) {
    throw DatabaseError(m_target.Name() + " holds a part of a copy, and " + m_source.Name() +
                        " has changed since or is another service: begin with an empty database");
  }
  if (!goesOn) m_target.Put(CopiedTables().front(), {}, {{kSource, state}});
  m_progress.tell(std::string(goesOn ? "copy goes on" : "copy begins") + ": from " +
                  m_source.Name() + " to " + m_target.Name());
  m_told = m_progress.now();
}

// What is not the same in another service, nor in this one once it has been used: most that happens
// is noted as a change, and who may register or look is told by salted hashes.
std::string ServiceCopy::StateOfSource() {
  std::string state;
  for (const auto& [name, number] : m_source.LastNumbers()) {
    state += name + " " + std::to_string(number) + ", ";
  }
  for (const char* name : {"account", "registration_key", "operator"}) {
    const CopiedTable& table = CopiedTableOf(name);
    Sum sum;
    ForRows(m_source, table, "", [&](const CopySide::Rows& some) {
      for (const CopiedRow& row : some.rows) sum.Add(table, row);
    });
    state += name + std::string(" ") + sum.Text() + ", ";
  }
  return state;
}

template <typename Take>
void ServiceCopy::ForRows(CopySide& side, const CopiedTable& table, std::string place,
                          const Take& take) {
  for (;;) {
    CopySide::Rows some = side.Next(table, place);
    if (some.rows.empty()) return;
    place = some.place;
    take(some);
  }
}

void ServiceCopy::Copy(const CopiedTable& table) {
  if (m_notes.count(NoteOfEnd(table)) > 0) return;
  const std::string noted = m_notes[NoteOfRows(table)];
  std::int64_t rows = noted.empty() ? 0 : std::stoll(noted);
  const std::int64_t all = m_source.Count(table);
  ForRows(m_source, table, m_notes[NoteOfPlace(table)], [&](CopySide::Rows& some) {
    for (CopiedRow& row : some.rows) m_target.Arrange(table, row);
    rows += static_cast<std::int64_t>(some.rows.size());
    m_target.Put(table, some.rows,
                 {{NoteOfPlace(table), some.place}, {NoteOfRows(table), std::to_string(rows)}});
    TellRows("copied", table, rows, all);
  });
  m_target.Put(table, {}, {{NoteOfEnd(table), ""}});
  m_progress.tell("copied " + table.name + ": " + std::to_string(rows) + " rows");
  m_told = m_progress.now();
}

void ServiceCopy::Compare(const CopiedTable& table) {
  const std::int64_t all = 2 * m_source.Count(table);
  Sum there;
  Sum here;
  ForRows(m_source, table, "", [&](CopySide::Rows& some) {
    for (CopiedRow& row : some.rows) {
      m_target.Arrange(table, row);
      there.Add(table, row);
    }
    TellRows("compared", table, there.rows, all);
  });
  ForRows(m_target, table, "", [&](const CopySide::Rows& some) {
    for (const CopiedRow& row : some.rows) here.Add(table, row);
    TellRows("compared", table, there.rows + here.rows, all);
  });
  if (!(there == here)) {
    throw DatabaseError("the copy is not the same: " + table.name + " has " + there.Text() +
                        " in " + m_source.Name() + ", " + here.Text() + " in " + m_target.Name() +
                        ": begin with an empty database");
  }
  m_compared += here.rows;
}

void ServiceCopy::TellRows(const char* what, const CopiedTable& table, std::int64_t rows,
                           std::int64_t all) {
  const auto now = m_progress.now();
  if (now - m_told < m_progress.every) return;
  m_told = now;
  const std::int64_t percent = all > 0 ? std::min<std::int64_t>(100, 100 * rows / all) : 100;
  m_progress.tell(std::string(what) + " " + table.name + ": " + std::to_string(rows) + " of " +
                  std::to_string(all) + " rows, " + std::to_string(percent) + " %");
}

}  // namespace

void CopyService(CopySide& source, CopySide& target, const CopyProgress& progress) {
  ServiceCopy(source, target, progress).Run();
}

void CopyService(const std::string& source, const std::string& target,
                 const CopyProgress& progress) {
  const std::unique_ptr<CopySide> from = OpenCopySide(source, MissingFile::kRefuse);
  const std::unique_ptr<CopySide> to = OpenCopySide(target, MissingFile::kCreate);
  CopyService(*from, *to, progress);
}

}  // namespace cloudservice
