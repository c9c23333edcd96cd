// tools/query_failure.h - why a query or a condition failed, in plain words.
//
// The library reports a refused statement as lines of its message log, in
// its own terms ("SQL Analyze - invalid condintion 'mass >'"), and some
// failures with no line at all (brackets that do not pair up). The tool
// prints those lines as they are and says before them, in one phrase, what
// is wrong.
#pragma once

#include <korvan/database.h>

#include <string>
#include <vector>

namespace korvan::cli {

// Why DbDatabase::Query refused sql; log holds the lines it wrote meanwhile,
// taken from the database's log before the call. Analyses sql once more to
// learn what the lines do not tell; the filters and the log lines that adds
// are dropped again.
std::string ExplainQueryFailure(DbDatabase& db, const std::string& sql,
                                const std::vector<std::string>& log);

// Why a search condition on table was refused; log holds the lines written.
std::string ExplainConditionFailure(DbDatabase& db, const CString& table,
                                    const std::vector<std::string>& log);

}  // namespace korvan::cli
