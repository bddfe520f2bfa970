// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_STORE_POSTGRESQL_CONNECTION_H_
#define SERVICE_STORE_POSTGRESQL_CONNECTION_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "service/store/Store.h"
#include "service/store/postgresql/Encoding.h"

struct pg_conn;
struct pg_result;

namespace cloudservice::postgresql {

// An error that the server reported.
class ServerError : public DatabaseError {
 public:
  // `message` names the SQLSTATE, too.
  ServerError(std::string state, const std::string& message)
      : DatabaseError(message), m_state(std::move(state)) {}
  // The five characters of the SQLSTATE.
  const std::string& State() const { return m_state; }

 private:
  const std::string m_state;
};

// The server could not be reached, or the connection to it broke. What was sent last may have
// happened.
class ConnectionLost : public DatabaseError {
 public:
  using DatabaseError::DatabaseError;
};

// The text of one SQL statement; a constant outside of functions. A connection prepares it once,
// before it is run for the first time.
class Sql {
 public:
  // kOnce: the server plans the statement when it is prepared. kEachTime: it plans it anew with the
  // values of each run, which pays where the plan depends on them: the partitions of a table, or
  // how many rows a condition leaves.
  enum class Plan { kOnce, kEachTime };
  explicit Sql(std::string text, Plan plan = Plan::kOnce);
  Sql(const Sql&) = delete;
  Sql& operator=(const Sql&) = delete;

  const std::string& Text() const { return m_text; }
  // The name that it is prepared by; null when it is planned each time.
  const char* Name() const { return m_name.empty() ? nullptr : m_name.c_str(); }
  // Whether it is a query: what it changes, if anything, need not be undone.
  bool IsQuery() const { return m_isQuery; }
  // All statements of the program, in no particular order.
  static const std::vector<const Sql*>& All();

 private:
  const std::string m_text;
  const bool m_isQuery;
  std::string m_name;
};

// A value of a statement. Texts may hold any bytes.
class Value {
 public:
  // NOLINTBEGIN(google-explicit-constructor): a list of values reads as what it is
  Value(const std::string& text);
  Value(const char* text) : Value(std::string(text)) {}
  Value(std::int64_t number) : m_text(std::to_string(number)) {}
  Value(const std::vector<std::string>& texts);
  Value(const std::vector<std::int64_t>& numbers);
  Value(ArrayLiteral array);
  template <typename T>
  Value(const std::optional<T>& value) {
    if (value) *this = Value(*value);
  }
  // NOLINTEND(google-explicit-constructor)

  // As it is sent; null for NULL.
  const char* Sent() const { return m_text ? m_text->c_str() : nullptr; }

 private:
  std::optional<std::string> m_text;
};
using Values = std::vector<Value>;

struct ClearResult {
  void operator()(pg_result* result) const;
};

// A row of a result, which outlives it. Columns are counted from 0.
class Row {
 public:
  Row(const pg_result* result, int number) : m_result(result), m_number(number) {}

  bool IsNull(int column) const;
  std::string Text(int column) const;
  std::int64_t Number(int column) const;
  bool Truth(int column) const;
  std::optional<std::string> OptionalText(int column) const;
  std::optional<std::int64_t> OptionalNumber(int column) const;

 private:
  const pg_result* m_result;
  int m_number;
};

// What a statement answered.
class Result {
 public:
  explicit Result(pg_result* result) : m_result(result) {}

  const pg_result* Handle() const { return m_result.get(); }
  int Rows() const;
  bool Empty() const { return Rows() == 0; }
  Row At(int number) const { return {m_result.get(), number}; }
  // The first row. There has to be one.
  Row First() const { return At(0); }
  // The number of rows that the statement changed or found.
  std::int64_t Changed() const;
  // The word with which the server says what it did.
  std::string Tag() const;

  // The rows, for a loop.
  class Iterator {
   public:
    Iterator(const Result& result, int number) : m_result(&result), m_number(number) {}
    Row operator*() const { return m_result->At(m_number); }
    Iterator& operator++() {
      ++m_number;
      return *this;
    }
    bool operator!=(const Iterator& other) const { return m_number != other.m_number; }

   private:
    const Result* m_result;
    int m_number;
  };
  Iterator begin() const { return {*this, 0}; }
  Iterator end() const { return {*this, Rows()}; }

 private:
  std::unique_ptr<pg_result, ClearResult> m_result;
};

// A connection to a server. It never waits longer than `patience` for an answer: the server ends a
// statement that takes longer, and a server that does not answer counts as lost. One thread at a
// time.
class Connection {
 public:
  // Connects. Blocks up to some seconds. Throws ConnectionLost, and DatabaseError when `url` is
  // none; neither text holds a password.
  Connection(const std::string& url, std::chrono::seconds patience);

  // Runs a statement, and before it those that wait; returns what it answered. Blocks. Throws
  // ServerError with the first error, and ConnectionLost. After an error none waits.
  Result Run(const Sql& sql, const Values& values = {});
  // Lets a statement wait until the next Run() or Flush(), and saves its way to the server. What it
  // answers is dropped.
  void Defer(const Sql& sql, const Values& values = {});
  // Runs the statements that wait. Throws as Run() does.
  void Flush();
  // Runs statements without values that make the schema or set up the connection; as a whole or not
  // at all, unless they say otherwise. None may wait. Throws as Run() does.
  void Execute(const std::string& script);

  bool IsOpen() const { return m_connection != nullptr; }
  // Whether it can be used for another unit of work.
  bool IsIdle() const;
  // Whether notifications of others have come since the last call. Blocks until some come,
  // `descriptor` can be read, or the time is over. Throws ConnectionLost.
  bool WaitForNotification(int descriptor, std::chrono::milliseconds most);

 private:
  struct Close {
    void operator()(pg_conn* connection) const;
  };

  void EnterPipeline();
  void Sent(int accepted);
  // Takes the results of all that was sent. Returns the last one.
  Result Finish();
  // The next result of the server; empty at the end of one statement's results.
  Result Next();
  bool TakeNotifications();
  void WaitUntilWritten();
  // Waits until the socket can be read or, if asked for, written.
  void WaitForSocket(bool writing);
  [[noreturn]] void Lose(const std::string& why);
  [[noreturn]] void Fail(const Result& result);

  std::unique_ptr<pg_conn, Close> m_connection;
  const std::chrono::seconds m_patience;
  std::set<const Sql*> m_prepared;
  // One for each result that will come: the statement that it prepares, or null when it runs one.
  std::vector<const Sql*> m_sent;
};

// The URL without what is secret, for messages: "postgresql://host:port/database".
std::string ShownUrl(const std::string& url);

}  // namespace cloudservice::postgresql

#endif  // SERVICE_STORE_POSTGRESQL_CONNECTION_H_
