// SPDX-License-Identifier: Apache-2.0
// A connection to SQLite: statements and transactions.
#include "service/store/sqlite/Database.h"

#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <new>
#include <string_view>
#include <utility>

#include "service/util/Words.h"

namespace cloudservice {

namespace {

constexpr int kBusyMilliseconds = 5000;
// The size to which the file of the log shrinks when the log begins anew.
constexpr const char* kLogFileSize = "PRAGMA journal_size_limit = 67108864";
// Pages that the writer keeps, in KiB: with those that 50,000 heartbeats change it reads none
// again.
constexpr const char* kWritersCache = "PRAGMA cache_size = -49152";

[[noreturn]] void Fail(sqlite3* handle) { throw DatabaseError(sqlite3_errmsg(handle)); }

// are_words_in(words, text, ...): whether Words are in the texts, of which any may be NULL.
void AreWordsIn(sqlite3_context* context, int count, sqlite3_value** values) {
  try {
    std::vector<std::string_view> texts;
    for (int i = 0; i < count; ++i) {
      // The text first: it is what the number of bytes is of.
      const auto* const text = reinterpret_cast<const char*>(sqlite3_value_text(values[i]));
      texts.emplace_back(text, static_cast<std::size_t>(sqlite3_value_bytes(values[i])));
    }
    const Words words{std::string(texts.front())};
    texts.erase(texts.begin());
    sqlite3_result_int(context, words.AreIn(texts) ? 1 : 0);
  } catch (const std::bad_alloc&) {
    sqlite3_result_error_nomem(context);
  }
}

std::vector<const Sql*>& Known() {
  static std::vector<const Sql*> known;
  return known;
}

std::atomic<bool>& AnyPrepared() {
  static std::atomic<bool> prepared = false;
  return prepared;
}

}  // namespace

Sql::Sql(std::string text) : m_text(std::move(text)), m_number(Known().size()) {
  if (AnyPrepared()) throw std::logic_error("a statement that no test has seen: " + m_text);
  Known().push_back(this);
}

const std::vector<const Sql*>& Sql::All() { return Known(); }

void Database::Close::operator()(sqlite3* handle) const { sqlite3_close_v2(handle); }

Database::Database(const std::string& file, MissingFile missing, Use use) {
  sqlite3* handle = nullptr;
  const int create = missing == MissingFile::kCreate ? SQLITE_OPEN_CREATE : 0;
  const int code = sqlite3_open_v2(
      file.c_str(), &handle,
      SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE | create, nullptr);
  m_handle.reset(handle);
  if (handle == nullptr) throw DatabaseError("cannot open " + file + ": no memory");
  sqlite3_busy_timeout(handle, kBusyMilliseconds);
  try {
    if (missing == MissingFile::kRefuse && access(file.c_str(), F_OK) != 0 && errno == ENOENT) {
      throw DatabaseError("it is not there");
    }
    if (code != SQLITE_OK) Fail(handle);
    Execute("PRAGMA journal_mode = WAL");
    Execute("PRAGMA synchronous = FULL");
    Execute("PRAGMA foreign_keys = ON");
    Execute("PRAGMA trusted_schema = OFF");
    Execute(kLogFileSize);
    constexpr int kProperties = SQLITE_UTF8 | SQLITE_DETERMINISTIC | SQLITE_DIRECTONLY;
    if (sqlite3_create_function(handle, "are_words_in", -1, kProperties, nullptr, AreWordsIn,
                                nullptr, nullptr) != SQLITE_OK) {
      Fail(handle);
    }
    Execute(use == Use::kRead ? "PRAGMA query_only = ON" : kWritersCache);
    sqlite3_wal_hook(
        handle,
        [](void* pages, sqlite3*, const char*, int length) {
          *static_cast<int*>(pages) = length;
          return SQLITE_OK;
        },
        &m_logPages);
  } catch (const DatabaseError& error) {
    throw DatabaseError("cannot open " + file + ": " + error.what());
  }
}

void Database::Execute(const char* script) {
  if (sqlite3_exec(Handle(), script, nullptr, nullptr, nullptr) != SQLITE_OK) Fail(Handle());
}

void Database::NoteChange(int code) {
  constexpr int kPrimary = 0xff;
  const int before = std::exchange(m_changedRows, ChangedRows());
  if ((code & kPrimary) == SQLITE_CONSTRAINT) return;
  const bool failed = code != SQLITE_DONE && code != SQLITE_OK;
  // A statement that changed no row did not need the disk, and tells nothing about it.
  if (failed || m_changedRows != before) m_changeFailed = failed;
}

int Database::ChangedRows() const { return sqlite3_total_changes(Handle()) - m_undoneRows; }

// What was undone does not need the disk at the commit, and tells nothing about it.
void Database::NoteUndone(int before) {
  m_undoneRows += ChangedRows() - before;
  m_changedRows = std::min(m_changedRows, before);
}

void Database::MoveLog() {
  sqlite3_wal_checkpoint_v2(Handle(), nullptr, SQLITE_CHECKPOINT_PASSIVE, nullptr, nullptr);
}

bool Database::EmptyLog() {
  sqlite3_busy_timeout(Handle(), 0);
  const int code =
      sqlite3_wal_checkpoint_v2(Handle(), nullptr, SQLITE_CHECKPOINT_RESTART, nullptr, nullptr);
  sqlite3_busy_timeout(Handle(), kBusyMilliseconds);
  if (code == SQLITE_OK) m_logPages = 0;
  return code == SQLITE_OK;
}

bool Database::InTransaction() const { return sqlite3_get_autocommit(Handle()) == 0; }

int Database::Changes() const { return sqlite3_changes(Handle()); }

std::int64_t Database::LastInsertId() const { return sqlite3_last_insert_rowid(Handle()); }

namespace {

const Sql kBegin("BEGIN");
const Sql kBeginWriting("BEGIN IMMEDIATE");
const Sql kCommit("COMMIT");
const Sql kRollback("ROLLBACK");
const Sql kSavepoint("SAVEPOINT unit");
const Sql kRelease("RELEASE unit");

}  // namespace

void Database::Finalize::operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }

Database::Prepared Database::Prepare(const Sql& sql) {
  if (m_kept.empty()) m_kept.resize(Sql::All().size());
  if (Prepared& kept = m_kept[sql.Number()]) return std::move(kept);
  AnyPrepared() = true;
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v3(Handle(), sql.Text().c_str(), -1, SQLITE_PREPARE_PERSISTENT, &statement,
                         nullptr) != SQLITE_OK) {
    Fail(Handle());
  }
  return Prepared(statement);
}

void Database::Keep(const Sql& sql, Prepared statement) {
  // The result repeats the error of the last step, which the statement's user knows.
  sqlite3_reset(statement.get());
  sqlite3_clear_bindings(statement.get());
  m_kept[sql.Number()] = std::move(statement);
}

int Database::Mark(const Sql& sql) {
  Prepared statement = Prepare(sql);
  const int code = sqlite3_step(statement.get());
  Keep(sql, std::move(statement));
  return code;
}

Statement::Statement(Database& database, const Sql& sql)
    : m_database(database), m_sql(sql), m_statement(database.Prepare(sql)) {}

Statement::~Statement() { m_database.Keep(m_sql, std::move(m_statement)); }

Statement& Statement::Bound(int code) {
  if (code != SQLITE_OK) Fail(m_database.Handle());
  ++m_next;
  return *this;
}

Statement& Statement::Bind(const std::string& text) {
  return Bound(sqlite3_bind_text64(m_statement.get(), m_next, text.data(), text.size(),
                                   SQLITE_TRANSIENT, SQLITE_UTF8));
}

Statement& Statement::Bind(std::int64_t number) {
  return Bound(sqlite3_bind_int64(m_statement.get(), m_next, number));
}

Statement& Statement::BindNull() { return Bound(sqlite3_bind_null(m_statement.get(), m_next)); }

bool Statement::Step() {
  const int code = sqlite3_step(m_statement.get());
  if (code == SQLITE_ROW) return true;
  // Inside a transaction a statement's success does not mean that its change is on the disk; the
  // commit tells that.
  const bool counts = code != SQLITE_DONE || !m_database.InTransaction();
  if (counts && sqlite3_stmt_readonly(m_statement.get()) == 0) m_database.NoteChange(code);
  if (code != SQLITE_DONE) Fail(m_database.Handle());
  return false;
}

void Statement::Run() {
  while (Step()) {
  }
}

std::string Statement::Text(int column) const {
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(m_statement.get(), column));
  if (text == nullptr) return "";
  return std::string(text,
                     static_cast<std::size_t>(sqlite3_column_bytes(m_statement.get(), column)));
}

std::optional<std::string> Statement::OptionalText(int column) const {
  if (IsNull(column)) return std::nullopt;
  return Text(column);
}

std::int64_t Statement::Number(int column) const {
  return sqlite3_column_int64(m_statement.get(), column);
}

bool Statement::IsNull(int column) const {
  return sqlite3_column_type(m_statement.get(), column) == SQLITE_NULL;
}

std::optional<std::int64_t> Statement::OptionalNumber(int column) const {
  if (IsNull(column)) return std::nullopt;
  return Number(column);
}

// A writer takes the lock at the beginning, since SQLite waits for a lock only there.
DatabaseTransaction::DatabaseTransaction(Database& database, Mode mode)
    : m_database(database), m_mode(mode), m_before(database.ChangedRows()) {
  const int code = m_database.Mark(mode == Mode::kWrite ? kBeginWriting : kBegin);
  if (code == SQLITE_DONE) return;
  if (mode == Mode::kWrite) m_database.NoteChange(code);
  Fail(m_database.Handle());
}

DatabaseTransaction::~DatabaseTransaction() {
  if (!m_open) return;
  try {
    // It fails when SQLite has rolled back by itself, as after some errors.
    m_database.Mark(kRollback);
  } catch (const DatabaseError&) {
    // There is no memory for the statement: closing the database rolls back.
  }
  m_database.NoteUndone(m_before);
}

void DatabaseTransaction::Commit() {
  const int code = m_database.Mark(kCommit);
  if (m_mode == Mode::kWrite) m_database.NoteChange(code);
  if (code != SQLITE_DONE) Fail(m_database.Handle());
  m_open = false;
}

Savepoint::Savepoint(Database& database) : m_database(database), m_before(database.ChangedRows()) {
  if (m_database.Mark(kSavepoint) != SQLITE_DONE) Fail(m_database.Handle());
}

Savepoint::~Savepoint() {
  if (!m_open) return;
  try {
    m_database.Execute("ROLLBACK TO unit; RELEASE unit");
  } catch (const DatabaseError&) {
    // SQLite has rolled back the whole transaction by itself after some errors.
  }
  m_database.NoteUndone(m_before);
}

void Savepoint::Release() {
  if (m_database.Mark(kRelease) != SQLITE_DONE) Fail(m_database.Handle());
  m_open = false;
}

}  // namespace cloudservice
