#include "companions/history/postgresql/connection.h"

#include <libpq-fe.h>

#include <algorithm>
#include <limits>
#include <memory>

#include "companions/history/postgresql/connection_words.h"

namespace tarvex::history {
namespace {

using Kind = DatabaseError::Kind;
using Result = std::unique_ptr<PGresult, decltype(&PQclear)>;
using Options = std::unique_ptr<PQconninfoOption, decltype(&PQconninfoFree)>;

// What holds unless the address says otherwise: a server that is not there, or is gone without a
// word, is noticed within a minute. Seconds, and milliseconds of the last.
constexpr std::pair<const char*, const char*> kDefaults[] = {
    {"client_encoding", "UTF8"},   {"fallback_application_name", "tarvex-history"},
    {"connect_timeout", "20"},     {"keepalives_idle", "20"},
    {"keepalives_interval", "10"}, {"keepalives_count", "3"},
    {"tcp_user_timeout", "60000"},
};

// How libpq marks options whose value is to be hidden.
constexpr std::string_view kSecret = "*";

// Nothing of a session stays waiting for ever, whatever the server's own limits are.
constexpr char kLimits[] =
    "SELECT set_config(name, value, false) FROM (VALUES ('statement_timeout', '5min'),"
    " ('lock_timeout', '1min'), ('idle_in_transaction_session_timeout', '10min'))"
    " AS limits (name, value) WHERE current_setting(name) = '0'";

std::string StateOf(const PGresult* result) {
  const char* const state = PQresultErrorField(result, PG_DIAG_SQLSTATE);
  return state != nullptr ? state : "";
}

bool IsGood(const PGresult* result) {
  const ExecStatusType status = PQresultStatus(result);
  return status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK;
}

Options ParsedAddress(const std::string& address) {
  char* reason = nullptr;
  Options options(PQconninfoParse(address.c_str(), &reason), &PQconninfoFree);
  if (options == nullptr) {
    const std::string text = reason != nullptr ? reason : "out of memory";
    PQfreemem(reason);
    throw DatabaseError(Kind::kOther, AddressWords(address, text));
  }
  return options;
}

// What stands behind a colon and is no port is a password whose host is missing: libpq would show
// it.
bool IsPort(std::string_view text) {
  return text.find_first_not_of("0123456789,") == std::string_view::npos;
}

void IgnoreNotice(void* /*unused*/, const char* /*text*/) {}

}  // namespace

Connection::Connection(const std::string& address) {
  const Options options = ParsedAddress(address);
  std::vector<const char*> names;
  std::vector<const char*> values;
  for (const auto& [name, value] : kDefaults) {
    names.push_back(name);
    values.push_back(value);
  }
  for (const PQconninfoOption* option = options.get(); option->keyword != nullptr; ++option) {
    if (option->val == nullptr) continue;
    if (std::string_view(option->keyword) == "port" && !IsPort(option->val)) {
      throw DatabaseError(Kind::kOther, AddressWords(address, ""));
    }
    if (std::string_view(option->dispchar) == kSecret) {
      throw DatabaseError(
          Kind::kOther,
          "an address with a password is not taken, for everybody can read it in the "
          "list of processes; write it into ~/.pgpass, or the file that PGPASSFILE "
          "names");
    }
    names.push_back(option->keyword);
    values.push_back(option->val);
  }
  names.push_back(nullptr);
  values.push_back(nullptr);
  try {
    Connect(names, values);
  } catch (...) {
    PQfinish(connection_);
    throw;
  }
}

void Connection::Connect(const std::vector<const char*>& names,
                         const std::vector<const char*>& values) {
  // Of an option that is named twice the last counts.
  connection_ = PQconnectdbParams(names.data(), values.data(), 0);
  if (connection_ == nullptr) throw std::bad_alloc();
  if (PQstatus(connection_) != CONNECTION_OK) {
    throw DatabaseError(Kind::kOther, ConnectWords(PQerrorMessage(connection_),
                                                   PQconnectionNeedsPassword(connection_) != 0));
  }
  PQsetNoticeProcessor(connection_, &IgnoreNotice, nullptr);
  const char* const encoding = PQparameterStatus(connection_, "server_encoding");
  if (encoding == nullptr || std::string_view(encoding) != "UTF8") {
    throw DatabaseError(Kind::kOther,
                        "the database keeps its texts in " +
                            std::string(encoding != nullptr ? encoding : "nothing known") +
                            "; create it with ENCODING 'UTF8'");
  }
  Run(kLimits);
  // Names mean the tables that they name, whatever lies before them in the user's path.
  Run("SET search_path = pg_catalog, pg_temp");
}

Connection::~Connection() {
  PQfinish(connection_);
}

void Connection::Fail(const char* state, const std::string& text) const {
  const bool isGone = PQstatus(connection_) == CONNECTION_BAD;
  // A lost connection has no state of its own when nobody was left to send one.
  const std::string known = isGone && *state == '\0' ? "08006" : state;
  throw DatabaseError(isGone ? Kind::kGone : KindOf(known), WordsOf(known, text));
}

std::vector<Row> Connection::Run(const std::string& statement) {
  const Result result(PQexec(connection_, statement.c_str()), &PQclear);
  if (!IsGood(result.get())) Fail(StateOf(result.get()).c_str(), PQerrorMessage(connection_));
  std::vector<Row> rows(static_cast<std::size_t>(PQntuples(result.get())));
  for (std::size_t i = 0; i < rows.size(); ++i) {
    for (int column = 0; column < PQnfields(result.get()); ++column) {
      rows[i].emplace_back(PQgetvalue(result.get(), static_cast<int>(i), column));
    }
  }
  return rows;
}

void Connection::Copy(const std::string& table, std::string_view rows) {
  if (rows.empty()) return;
  const std::string statement = "COPY " + table + " FROM STDIN";
  const Result start(PQexec(connection_, statement.c_str()), &PQclear);
  if (PQresultStatus(start.get()) != PGRES_COPY_IN) {
    Fail(StateOf(start.get()).c_str(), PQerrorMessage(connection_));
  }
  bool isSent = true;
  while (isSent && !rows.empty()) {
    constexpr std::size_t kMost = 1U << 20;
    const std::string_view part = rows.substr(0, kMost);
    isSent = PQputCopyData(connection_, part.data(), static_cast<int>(part.size())) == 1;
    rows.remove_prefix(part.size());
  }
  if (!isSent || PQputCopyEnd(connection_, nullptr) != 1) Fail("", PQerrorMessage(connection_));
  // The last one is null.
  std::string state;
  std::string text;
  bool isGood = true;
  while (const Result result{PQgetResult(connection_), &PQclear}) {
    if (IsGood(result.get())) continue;
    isGood = false;
    state = StateOf(result.get());
    text = PQresultErrorMessage(result.get());
  }
  if (!isGood) Fail(state.c_str(), text);
}

Transaction::Transaction(Connection& connection) : connection_(connection) {
  connection_.Run("BEGIN");
}

Transaction::~Transaction() {
  if (!isOpen_) return;
  try {
    connection_.Run("ROLLBACK");
  } catch (const DatabaseError&) {
    // Without its session the server has rolled back by itself.
  }
}

void Transaction::Commit() {
  connection_.Run("COMMIT");
  isOpen_ = false;
}

}  // namespace tarvex::history
