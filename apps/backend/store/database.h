// SQLite with owned handles and errors as exceptions.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace quillfold::backend {

class DatabaseError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A value broke a unique constraint.
class UniqueViolation : public DatabaseError {
 public:
  using DatabaseError::DatabaseError;
};

// One use of a prepared statement; ready for the next use when it ends.
class Statement {
 public:
  explicit Statement(sqlite3_stmt* statement) : statement_(statement) {}
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;
  ~Statement();

  // Binds the parameters in order. Texts must live until the use ends.
  template <typename... Values>
  Statement& bind(const Values&... values) {
    int index = 0;
    (bindOne(++index, values), ...);
    return *this;
  }
  // Steps to the next row. False past the last one.
  bool next();
  // Runs a statement without rows.
  void run();

  std::string text(int column) const;
  double number(int column) const { return sqlite3_column_double(statement_, column); }
  std::int64_t integer(int column) const { return sqlite3_column_int64(statement_, column); }
  std::optional<std::string> optionalText(int column) const;
  std::optional<double> optionalNumber(int column) const;
  bool isNull(int column) const { return sqlite3_column_type(statement_, column) == SQLITE_NULL; }

 private:
  void bindOne(int index, std::string_view value);
  void bindOne(int index, const std::string& value) { bindOne(index, std::string_view(value)); }
  void bindOne(int index, const char* value) { bindOne(index, std::string_view(value)); }
  void bindOne(int index, double value);
  void bindOne(int index, std::int64_t value);
  void bindOne(int index, bool value) { bindOne(index, std::int64_t{value}); }
  template <typename Value>
  void bindOne(int index, const std::optional<Value>& value) {
    if (value) bindOne(index, *value);  // Parameters start out as null.
  }
  void check(int result) const;

  sqlite3_stmt* statement_;
};

// One connection. Not to be used from two threads at once.
class Database {
 public:
  // Opens or creates a file; ":memory:" stands for a database that dies with
  // this object. Throws DatabaseError.
  explicit Database(const std::string& file);

  // Runs statements that take no parameters.
  void execute(const std::string& sql);
  // Makes a function of a text known to SQL; absent and of null it is null. Its
  // result may depend on nothing else.
  using TextFunction = std::optional<std::string> (*)(std::string_view text);
  void addFunction(const char* name, TextFunction function);
  // A statement, prepared at its first use. Not to be nested in a use of itself.
  Statement prepare(std::string_view sql);

 private:
  struct CloseConnection {
    void operator()(sqlite3* connection) const { sqlite3_close(connection); }
  };
  struct FinalizeStatement {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };

  std::unique_ptr<sqlite3, CloseConnection> connection_;
  std::map<std::string, std::unique_ptr<sqlite3_stmt, FinalizeStatement>, std::less<>> statements_;
};

// Everything until `commit` happens, or nothing does.
class Transaction {
 public:
  explicit Transaction(Database& database);
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  ~Transaction();
  void commit();

 private:
  Database& database_;
  bool open_ = true;
};

}  // namespace quillfold::backend
