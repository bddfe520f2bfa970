// SPDX-License-Identifier: Apache-2.0
// A connection to a PostgreSQL server: statements, their values and results.
#include "service/store/postgresql/Connection.h"

#include <poll.h>

#include <array>
#include <cstdlib>
#include <cstring>

#include <libpq-fe.h>

namespace cloudservice::postgresql {

namespace {

// What the URL may set otherwise. A server that went away without a word is noticed within half a
// minute, and of several servers the one that takes changes is used.
constexpr std::array<std::array<const char*, 2>, 8> kSettings = {{
    {"fallback_application_name", "cloudservice"},
    {"connect_timeout", "5"},
    {"target_session_attrs", "read-write"},
    {"keepalives_idle", "10"},
    {"keepalives_interval", "5"},
    {"keepalives_count", "3"},
    {"tcp_user_timeout", "20000"},
    {"client_encoding", "UTF8"},
}};

struct FreeOptions {
  void operator()(PQconninfoOption* options) const { PQconninfoFree(options); }
};
using ConnectionOptions = std::unique_ptr<PQconninfoOption, FreeOptions>;

// The parts of the URL. What libpq says of a wrong one is dropped: it shows a password.
ConnectionOptions Parsed(const std::string& url) {
  char* error = nullptr;
  ConnectionOptions options(PQconninfoParse(url.c_str(), &error));
  PQfreemem(error);
  if (options == nullptr) {
    throw DatabaseError("the URL of the database is wrong: postgresql://USER@HOST:PORT/DATABASE");
  }
  return options;
}

std::string OptionOf(const ConnectionOptions& options, const std::string& name) {
  for (const PQconninfoOption* one = options.get(); one->keyword != nullptr; ++one) {
    if (name == one->keyword) return one->val == nullptr ? "" : one->val;
  }
  return "";
}

// Without line ends: it stands in a line of the log.
std::string Line(const char* message) {
  std::string line = message;
  while (!line.empty() && line.back() == '\n') line.pop_back();
  for (char& c : line) {
    if (c == '\n' || c == '\t') c = ' ';
  }
  return line;
}

bool Succeeded(const Result& result) {
  const ExecStatusType status = PQresultStatus(result.Handle());
  return status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK;
}

std::vector<const Sql*>& Known() {
  static std::vector<const Sql*> known;
  return known;
}

ArrayLiteral ArrayOfNumbers(const std::vector<std::int64_t>& numbers) {
  ArrayLiteral array;
  for (const std::int64_t number : numbers) array.Add(number);
  return array;
}

}  // namespace

Sql::Sql(std::string text, Plan plan)
    : m_text(std::move(text)), m_isQuery(m_text.rfind("SELECT", 0) == 0) {
  if (plan == Plan::kOnce) m_name = "s" + std::to_string(Known().size());
  Known().push_back(this);
}

const std::vector<const Sql*>& Sql::All() { return Known(); }

Value::Value(const std::string& text) : m_text(Encoded(text)) {}
Value::Value(const std::vector<std::string>& texts) : m_text(ArrayOf(texts)) {}
Value::Value(const std::vector<std::int64_t>& numbers) : Value(ArrayOfNumbers(numbers)) {}
Value::Value(ArrayLiteral array) : m_text(array.Take()) {}

void ClearResult::operator()(pg_result* result) const { PQclear(result); }

bool Row::IsNull(int column) const { return PQgetisnull(m_result, m_number, column) != 0; }

std::string Row::Text(int column) const {
  return Decoded({PQgetvalue(m_result, m_number, column),
                  static_cast<std::size_t>(PQgetlength(m_result, m_number, column))});
}

std::int64_t Row::Number(int column) const {
  return std::strtoll(PQgetvalue(m_result, m_number, column), nullptr, 10);
}

bool Row::Truth(int column) const { return *PQgetvalue(m_result, m_number, column) == 't'; }

std::optional<std::string> Row::OptionalText(int column) const {
  if (IsNull(column)) return std::nullopt;
  return Text(column);
}

std::optional<std::int64_t> Row::OptionalNumber(int column) const {
  if (IsNull(column)) return std::nullopt;
  return Number(column);
}

int Result::Rows() const { return PQntuples(m_result.get()); }

std::int64_t Result::Changed() const {
  return std::strtoll(PQcmdTuples(m_result.get()), nullptr, 10);
}

std::string Result::Tag() const { return PQcmdStatus(m_result.get()); }

void Connection::Close::operator()(pg_conn* connection) const { PQfinish(connection); }

Connection::Connection(const std::string& url, std::chrono::seconds patience)
    : m_patience(patience) {
  Parsed(url);
  std::vector<const char*> names;
  std::vector<const char*> values;
  for (const auto& [name, value] : kSettings) {
    names.push_back(name);
    values.push_back(value);
  }
  // Expanded where it stands: what it says goes before the settings above.
  names.insert(names.end(), {"dbname", nullptr});
  values.insert(values.end(), {url.c_str(), nullptr});
  m_connection.reset(PQconnectdbParams(names.data(), values.data(), 1));
  if (m_connection == nullptr) throw ConnectionLost("no memory for a connection");
  if (PQstatus(m_connection.get()) != CONNECTION_OK) {
    throw ConnectionLost(Line(PQerrorMessage(m_connection.get())));
  }
  // What is wrong is thrown; libpq would also write it to standard error.
  PQsetNoticeProcessor(
      m_connection.get(), [](void*, const char*) {}, nullptr);
  PQsetnonblocking(m_connection.get(), 1);
  EnterPipeline();
  const std::string most = std::to_string(std::chrono::milliseconds(patience).count());
  // A process that is killed within a long statement would keep its locks until that is done.
  Execute("SET statement_timeout = " + most + "; SET idle_in_transaction_session_timeout = " +
          most + "; SET client_min_messages = error; SET client_connection_check_interval = 1000");
}

void Connection::EnterPipeline() { PQenterPipelineMode(m_connection.get()); }

void Connection::Sent(int accepted) {
  if (accepted != 1) Lose(PQerrorMessage(m_connection.get()));
}

void Connection::Defer(const Sql& sql, const Values& values) {
  PGconn* const connection = m_connection.get();
  std::vector<const char*> sent;
  sent.reserve(values.size());
  for (const Value& value : values) sent.push_back(value.Sent());
  const int count = static_cast<int>(sent.size());
  if (sql.Name() == nullptr) {
    Sent(PQsendQueryParams(connection, sql.Text().c_str(), count, nullptr, sent.data(), nullptr,
                           nullptr, 0));
  } else {
    if (m_prepared.insert(&sql).second) {
      Sent(PQsendPrepare(connection, sql.Name(), sql.Text().c_str(), 0, nullptr));
      m_sent.push_back(&sql);
    }
    Sent(PQsendQueryPrepared(connection, sql.Name(), count, sent.data(), nullptr, nullptr, 0));
  }
  m_sent.push_back(nullptr);
}

Result Connection::Run(const Sql& sql, const Values& values) {
  Defer(sql, values);
  return Finish();
}

void Connection::Flush() {
  if (!m_sent.empty()) Finish();
}

Result Connection::Finish() {
  Sent(PQpipelineSync(m_connection.get()));
  WaitUntilWritten();
  Result last(nullptr);
  Result failed(nullptr);
  std::size_t taken = 0;
  for (;;) {
    Result result = Next();
    if (result.Handle() == nullptr) continue;
    if (PQresultStatus(result.Handle()) == PGRES_PIPELINE_SYNC) break;
    const Sql* const prepared = taken < m_sent.size() ? m_sent[taken] : nullptr;
    ++taken;
    if (Succeeded(result)) {
      last = std::move(result);
      continue;
    }
    if (prepared != nullptr) m_prepared.erase(prepared);
    if (failed.Handle() == nullptr) failed = std::move(result);
  }
  m_sent.clear();
  if (failed.Handle() != nullptr) Fail(failed);
  return last;
}

Result Connection::Next() {
  PGconn* const connection = m_connection.get();
  while (PQisBusy(connection) != 0) {
    WaitForSocket(false);
    if (PQconsumeInput(connection) == 0) Lose(PQerrorMessage(connection));
  }
  Result result(PQgetResult(connection));
  if (PQstatus(connection) != CONNECTION_OK) Lose(PQerrorMessage(connection));
  return result;
}

void Connection::WaitUntilWritten() {
  for (;;) {
    const int left = PQflush(m_connection.get());
    if (left == 0) return;
    if (left < 0) Lose(PQerrorMessage(m_connection.get()));
    WaitForSocket(true);
    // The server may wait until its answers are taken before it reads on.
    if (PQconsumeInput(m_connection.get()) == 0) Lose(PQerrorMessage(m_connection.get()));
  }
}

void Connection::WaitForSocket(bool writing) {
  constexpr int kGrace = 5000;  // beyond the time in which the server ends a statement itself
  struct pollfd one = {};
  one.fd = PQsocket(m_connection.get());
  one.events = static_cast<short>(writing ? POLLIN | POLLOUT : POLLIN);
  const auto most = static_cast<int>(std::chrono::milliseconds(m_patience).count()) + kGrace;
  int ready = 0;
  do {
    ready = poll(&one, 1, most);
  } while (ready < 0 && errno == EINTR);
  if (ready == 0) Lose("the server does not answer");
}

void Connection::Lose(const std::string& why) {
  const std::string line = Line(why.c_str());
  m_connection.reset();
  throw ConnectionLost("the connection to the database is lost: " + line);
}

void Connection::Fail(const Result& result) {
  const char* const state = PQresultErrorField(result.Handle(), PG_DIAG_SQLSTATE);
  const char* const text = PQresultErrorField(result.Handle(), PG_DIAG_MESSAGE_PRIMARY);
  const std::string code = state == nullptr ? "" : state;
  const std::string message = text == nullptr ? PQresultErrorMessage(result.Handle()) : text;
  // The server is being stopped.
  if (code.rfind("57P", 0) == 0) Lose(message);
  throw ServerError(code, Line(message.c_str()) + " (" + code + ")");
}

void Connection::Execute(const std::string& script) {
  PQexitPipelineMode(m_connection.get());
  Sent(PQsendQuery(m_connection.get(), script.c_str()));
  WaitUntilWritten();
  Result failed(nullptr);
  for (;;) {
    Result result = Next();
    if (result.Handle() == nullptr) break;
    if (!Succeeded(result) && failed.Handle() == nullptr) failed = std::move(result);
  }
  EnterPipeline();
  if (failed.Handle() != nullptr) Fail(failed);
}

bool Connection::IsIdle() const {
  return m_connection != nullptr && m_sent.empty() &&
         PQtransactionStatus(m_connection.get()) == PQTRANS_IDLE;
}

bool Connection::TakeNotifications() {
  const int own = PQbackendPID(m_connection.get());
  bool any = false;
  while (PGnotify* one = PQnotifies(m_connection.get())) {
    any = any || one->be_pid != own;
    PQfreemem(one);
  }
  return any;
}

bool Connection::WaitForNotification(int descriptor, std::chrono::milliseconds most) {
  // They may have come with the result of a statement.
  if (TakeNotifications()) return true;
  std::array<struct pollfd, 2> waited = {};
  waited[0].fd = PQsocket(m_connection.get());
  waited[1].fd = descriptor;
  for (struct pollfd& one : waited) one.events = POLLIN;
  if (poll(waited.data(), waited.size(), static_cast<int>(most.count())) < 0 && errno != EINTR) {
    Lose(std::strerror(errno));
  }
  if (PQconsumeInput(m_connection.get()) == 0) Lose(PQerrorMessage(m_connection.get()));
  return TakeNotifications();
}

std::string ShownUrl(const std::string& url) {
  const ConnectionOptions options = Parsed(url);
  const std::string port = OptionOf(options, "port");
  return "postgresql://" + OptionOf(options, "host") + (port.empty() ? "" : ":" + port) + "/" +
         OptionOf(options, "dbname");
}

}  // namespace cloudservice::postgresql
