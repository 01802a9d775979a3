#pragma once

#include <string>

#include "companions/history/postgresql/connection.h"

// What an error of the database means, and what to do about it.
namespace tarvex::history {

// By its SQLSTATE, which is empty where there is none.
// Source: PostgreSQL 15 documentation, appendix A, "PostgreSQL Error Codes".
DatabaseError::Kind KindOf(const std::string& state);
// The text of the error in one line, and behind it what helps.
std::string WordsOf(const std::string& state, const std::string& text);
// Why an address cannot be read; the reason may be empty. It may hold a password, which the reason
// may quote.
std::string AddressWords(const std::string& address, const std::string& reason);
// The same of a connection that did not come about.
std::string ConnectWords(const std::string& text, bool needsPassword);

}  // namespace tarvex::history
