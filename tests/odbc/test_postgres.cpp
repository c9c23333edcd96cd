// Whole databases through PostgreSQL's ODBC driver, on the throwaway cluster
// the test run starts (pg_cluster.sh): names quoted and columns typed as the
// driver says, every value back as it went in, and a failed write that
// leaves the target as it was.
#include "odbc_tests.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iostream>

using namespace odbctest;

namespace {

// The cluster's connection text. A cluster that could not start here skips
// the test, loudly; a missing set-up fails it.
bool ClusterConnection(CString& connection) {
    std::ifstream state(KORVAN_PG_STATE);
    std::string line;
    if (!std::getline(state, line)) {
        ADD_FAILURE() << "no PostgreSQL cluster: " << KORVAN_PG_STATE
                      << " is missing; run the tests through ctest, which starts the cluster";
        return false;
    }
    if (line.rfind("connection=", 0) == 0) {
        connection = CString(line.substr(11).c_str());
        return true;
    }
    std::cerr << "\n*** SKIPPED: the PostgreSQL server cannot run on this machine ***\n*** " << line
              << " ***\n\n";
    return false;
}

// Runs sql on the cluster through psql, as the tests' user.
void Psql(const CString& connection, const std::string& sql) {
    const std::string text = connection.ToUtf8();
    const std::string socket = text.substr(text.find("Servername=") + 11);
    const std::string command = "psql -q -h '" + socket.substr(0, socket.find(';')) +
                                "' -U korvan -d postgres -c '" + sql + "'";
    ASSERT_EQ(std::system(command.c_str()), 0) << command;
}

DBACCESS_VECTOR Everything() {
    DBACCESS_VECTOR rows;
    for (int r = 0; r < 3; ++r) {
        DBACCESS_RECORD record;
        record[L"Id"] = static_cast<long>(r + 1);
        record[L"Name \"quoted\" [x]"] =
            CString(r == 1 ? std::wstring(20000, L'ä').c_str() : L"Grüße 日本");
        record[L"flag"] = r % 2 == 1;
        record[L"small"].shortValue = static_cast<SHORT>(-r);
        record[L"small"].type = DBACCESS_COLUMN::typeShort;
        record[L"ratio"] = 0.25f * r;
        record[L"weight"] = 1e-300 * r;
        CByteArray bytes;
        for (int b = 0; b < r * 1000; ++b) {
            bytes.Add(static_cast<BYTE>(b));
        }
        record[L"data"] = bytes;
        rows.push_back(record);
    }
    rows[2][L"Name \"quoted\" [x]"] = CString();  // empty, not NULL
    rows[0][L"weight"].SetNull(true);
    return rows;
}

}  // namespace

void RoundTrip(const CString& connection);

TEST(Postgres, WholeDatabaseRoundTrip) {
    CString connection;
    if (!ClusterConnection(connection)) {
        GTEST_SKIP() << "the PostgreSQL server cannot run here";
    }
    Guarded([&] { RoundTrip(connection); });
}

void RoundTrip(const CString& connection) {
    DBACCESS_ALL all;
    ASSERT_TRUE(DbSerializer::Load(FixtureFile("test2V2003.mdb"), all));
    ASSERT_TRUE(DbSerializer::Load(FixtureFile("testV1997.mdb"), all));
    all.push_back({L"Every Tag", Everything()});
    ASSERT_TRUE(DbSerializer::Save(L"", all, connection));
    // Written twice: the second write replaces the rows.
    ASSERT_TRUE(DbSerializer::Save(L"", all, connection));

    DBACCESS_ALL back;
    ASSERT_TRUE(DbSerializer::Load(L"", back, connection));
    for (const auto& [name, rows] : all) {
        SCOPED_TRACE(name.ToUtf8());
        DBACCESS_VECTOR read;
        // A table read without rows or definition cannot be created.
        ASSERT_EQ(DbSerializer::CopyTableFromDatabase(back, name, read), !rows.empty());
        ExpectSameRows(rows, read);
    }
}

void KeptOnFailure(const CString& connection);

TEST(Postgres, FailedWriteKeepsTheTableAsItWas) {
    CString connection;
    if (!ClusterConnection(connection)) {
        GTEST_SKIP() << "the PostgreSQL server cannot run here";
    }
    Guarded([&] { KeptOnFailure(connection); });
}

void KeptOnFailure(const CString& connection) {
    DBACCESS access(L"", DBACCESS::noOdbcDialog, connection);
    DBACCESS_VECTOR rows;
    for (long id : {1L, 2L}) {
        DBACCESS_RECORD record;
        record[L"id"] = id;
        rows.push_back(record);
    }
    ASSERT_TRUE(access.SetTableData(L"kept", rows));
    // The server refuses the second of two equal ids once it has a unique
    // index; the rows deleted before that come back with the rollback.
    Psql(connection, "CREATE UNIQUE INDEX IF NOT EXISTS one_id ON kept (id)");
    DBACCESS_VECTOR duplicate;
    duplicate.push_back(rows[0]);
    duplicate.push_back(rows[0]);
    const std::string message = OdbcErrorOf([&] { access.SetTableData(L"kept", duplicate); });
    EXPECT_NE(message.find("Cannot write table 'kept'"), std::string::npos) << message;
    EXPECT_NE(message.find("PostgreSQL Unicode"), std::string::npos) << message;
    EXPECT_NE(message.find("23505"), std::string::npos) << message;  // unique violation
    EXPECT_EQ(access.GetRecordsetsNumber(L"kept"), 2);
}

void Batches(const CString& connection);

// Many rows go to the server a batch per statement: counts that fill the
// batches exactly or leave rows over come back with their NULLs and binary
// values, and a refusal in a later batch, after earlier ones were sent,
// leaves the table as it was. The server returns a table's rows in the order
// they lie on its pages, which need not be the order they went in (a later
// row may fill the room an earlier one left): they are compared in the
// order of their ids.
TEST(Postgres, BatchedRowsAndARefusalAfterEarlierBatches) {
    CString connection;
    if (!ClusterConnection(connection)) {
        GTEST_SKIP() << "the PostgreSQL server cannot run here";
    }
    Guarded([&] { Batches(connection); });
}

// The table's rows in the order of their ids.
DBACCESS_VECTOR ReadById(DBACCESS& access, const wchar_t* table) {
    DBACCESS_VECTOR rows;
    EXPECT_TRUE(access.GetTableData(table, rows));
    std::sort(rows.begin(), rows.end(), [](const DBACCESS_RECORD& a, const DBACCESS_RECORD& b) {
        return a.GetLong(L"id") < b.GetLong(L"id");
    });
    return rows;
}

void Batches(const CString& connection) {
    DBACCESS access(L"", DBACCESS::noOdbcDialog, connection);
    for (size_t count : {1000u, 512u, 257u}) {
        SCOPED_TRACE(count);
        const DBACCESS_VECTOR rows = MixedRows(count);
        ASSERT_TRUE(access.SetTableData(L"batches", rows));
        ExpectSameRows(rows, ReadById(access, L"batches"));
    }
    Psql(connection, "CREATE UNIQUE INDEX IF NOT EXISTS batches_id ON batches (id)");
    DBACCESS_VECTOR refused = MixedRows(1000);
    refused[900][L"id"] = 10L;
    const std::string message = OdbcErrorOf([&] { access.SetTableData(L"batches", refused); });
    EXPECT_NE(message.find("23505"), std::string::npos) << message;
    ExpectSameRows(MixedRows(257), ReadById(access, L"batches"));
}
