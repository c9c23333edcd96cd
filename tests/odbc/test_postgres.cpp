// Whole databases through PostgreSQL's ODBC driver, on the throwaway cluster
// the test run starts (pg_cluster.sh): names quoted and columns typed as the
// driver says, every value back as it went in, and a failed write that
// leaves the target as it was.
#include "odbc_tests.h"

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
        ASSERT_EQ(read.size(), rows.size());
        for (size_t r = 0; r < rows.size(); ++r) {
            for (const DBACCESS_COLUMN& column : rows[r]) {
                const DBACCESS_COLUMN& got = read[r].find(column.name);
                EXPECT_EQ(got.IsNull(), column.IsNull()) << column.name.ToUtf8();
                if (column.IsNull()) {
                    continue;  // read back as NULLs are: an empty text
                }
                EXPECT_EQ(got.type, column.type) << column.name.ToUtf8();
                EXPECT_EQ(Text(got), Text(column)) << column.name.ToUtf8() << " row " << r;
            }
        }
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
    const std::string socket =
        connection.ToUtf8().substr(connection.ToUtf8().find("Servername=") + 11);
    const std::string command =
        "psql -q -h '" + socket.substr(0, socket.find(';')) +
        "' -U korvan -d postgres -c 'CREATE UNIQUE INDEX IF NOT EXISTS one_id ON kept (id)'";
    ASSERT_EQ(std::system(command.c_str()), 0) << command;
    DBACCESS_VECTOR duplicate;
    duplicate.push_back(rows[0]);
    duplicate.push_back(rows[0]);
    const std::string message = OdbcErrorOf([&] { access.SetTableData(L"kept", duplicate); });
    EXPECT_NE(message.find("Cannot write table 'kept'"), std::string::npos) << message;
    EXPECT_NE(message.find("PostgreSQL Unicode"), std::string::npos) << message;
    EXPECT_NE(message.find("23505"), std::string::npos) << message;  // unique violation
    EXPECT_EQ(access.GetRecordsetsNumber(L"kept"), 2);
}
