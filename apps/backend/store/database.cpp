#include "apps/backend/store/database.h"

namespace quillfold::backend {

Statement::~Statement() {
  sqlite3_reset(statement_);
  sqlite3_clear_bindings(statement_);
}

void Statement::check(int result) const {
  if (result == SQLITE_OK || result == SQLITE_ROW || result == SQLITE_DONE) return;
  sqlite3* connection = sqlite3_db_handle(statement_);
  const std::string message = sqlite3_errmsg(connection);
  if (sqlite3_extended_errcode(connection) == SQLITE_CONSTRAINT_UNIQUE) {
    throw UniqueViolation(message);
  }
  throw DatabaseError(message);
}

bool Statement::next() {
  const int result = sqlite3_step(statement_);
  check(result);
  return result == SQLITE_ROW;
}

void Statement::run() {
  while (next()) {
  }
}

std::string Statement::text(int column) const {
  const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(statement_, column));
  if (bytes == nullptr) return {};
  return {bytes, static_cast<std::size_t>(sqlite3_column_bytes(statement_, column))};
}

std::optional<std::string> Statement::optionalText(int column) const {
  return isNull(column) ? std::nullopt : std::optional(text(column));
}

std::optional<double> Statement::optionalNumber(int column) const {
  return isNull(column) ? std::nullopt : std::optional(number(column));
}

void Statement::bindOne(int index, std::string_view value) {
  check(sqlite3_bind_text64(statement_, index, value.data(), value.size(), SQLITE_STATIC,
                            SQLITE_UTF8));
}

void Statement::bindOne(int index, double value) {
  check(sqlite3_bind_double(statement_, index, value));
}

void Statement::bindOne(int index, std::int64_t value) {
  check(sqlite3_bind_int64(statement_, index, value));
}

Database::Database(const std::string& file) {
  sqlite3* connection = nullptr;
  const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
  const int result = sqlite3_open_v2(file.c_str(), &connection, flags, nullptr);
  connection_.reset(connection);
  if (result != SQLITE_OK) throw DatabaseError(sqlite3_errstr(result));
  sqlite3_busy_timeout(connection, 5000);
}

void Database::execute(const std::string& sql) {
  if (sqlite3_exec(connection_.get(), sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
    throw DatabaseError(sqlite3_errmsg(connection_.get()));
  }
}

Statement Database::prepare(std::string_view sql) {
  const auto known = statements_.find(sql);
  if (known != statements_.end()) return Statement(known->second.get());
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v3(connection_.get(), sql.data(), static_cast<int>(sql.size()),
                         SQLITE_PREPARE_PERSISTENT, &statement, nullptr) != SQLITE_OK) {
    throw DatabaseError(sqlite3_errmsg(connection_.get()));
  }
  statements_[std::string(sql)].reset(statement);
  return Statement(statement);
}

void Database::addFunction(const char* name, TextFunction function) {
  const int flags = SQLITE_UTF8 | SQLITE_DETERMINISTIC | SQLITE_INNOCUOUS;
  const int result = sqlite3_create_function_v2(
      connection_.get(), name, 1, flags, reinterpret_cast<void*>(function),
      [](sqlite3_context* context, int, sqlite3_value** arguments) {
        const auto call = reinterpret_cast<TextFunction>(sqlite3_user_data(context));
        const auto* text = reinterpret_cast<const char*>(sqlite3_value_text(*arguments));
        if (text == nullptr) return;
        const auto size = static_cast<std::size_t>(sqlite3_value_bytes(*arguments));
        if (const auto value = call({text, size})) {
          sqlite3_result_text64(context, value->data(), value->size(), SQLITE_TRANSIENT,
                                SQLITE_UTF8);
        }
      },
      nullptr, nullptr, nullptr);
  if (result != SQLITE_OK) throw DatabaseError(sqlite3_errmsg(connection_.get()));
}

Transaction::Transaction(Database& database) : database_(database) {
  database_.execute("BEGIN IMMEDIATE");
}

Transaction::~Transaction() {
  if (!open_) return;
  try {
    database_.execute("ROLLBACK");
  } catch (const DatabaseError&) {
    // The failure that ended the transaction has already rolled it back.
  }
}

void Transaction::commit() {
  database_.execute("COMMIT");
  open_ = false;
}

}  // namespace quillfold::backend
