#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

typedef struct pg_conn PGconn;

namespace tarvex::history {

// What the database, or the way to it, did not do.
class DatabaseError : public std::runtime_error {
 public:
  enum class Kind {
    kOther,
    kGone,     // the connection is lost
    kAgain,    // two sessions were in each other's way: the same again may succeed
    kContent,  // what was sent is no content for these tables
  };
  DatabaseError(Kind kind, const std::string& text) : std::runtime_error(text), kind_(kind) {}
  Kind Is() const { return kind_; }

 private:
  Kind kind_;
};

using Row = std::vector<std::string>;  // a null is an empty text

// A session of PostgreSQL. Not for concurrent use. Every call throws a DatabaseError, whose text
// says what to do where that is known.
class Connection {
 public:
  // Refuses an address with a password, for everybody could read it in the list of processes.
  explicit Connection(const std::string& address);
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  std::vector<Row> Run(const std::string& statement);
  // Adds rows in the text format of COPY to "table (columns)"; nothing when there are none.
  void Copy(const std::string& table, std::string_view rows);

 private:
  void Connect(const std::vector<const char*>& names, const std::vector<const char*>& values);
  [[noreturn]] void Fail(const char* state, const std::string& text) const;

  PGconn* connection_ = nullptr;
};

// A transaction, which is rolled back unless it was committed.
class Transaction {
 public:
  explicit Transaction(Connection& connection);
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  void Commit();

 private:
  Connection& connection_;
  bool isOpen_ = true;
};

}  // namespace tarvex::history
