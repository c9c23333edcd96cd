// DBACCESS against real drivers: the Access fixtures read through mdbtools'
// driver and compared with mdb-export, whole tables written to SQLite and
// read back, and the failures a caller meets.
#include "odbc_tests.h"

#include <map>

using namespace odbctest;

namespace {

const std::vector<std::string> kFixtures = {"testV1997.mdb", "test2V2003.mdb",
                                            "fixedNumericTestV2003.mdb", "adox_jet4.mdb"};

}  // namespace

TEST(DbAccessRead, EveryFixtureTableMatchesMdbExport) {
    const std::map<std::string, std::vector<std::string>> expectedTables = {
        {"testV1997.mdb", {"Table1", "Table2", "Table3", "Table4"}},
        {"test2V2003.mdb", {"MSP_PROJECTS"}},
        {"fixedNumericTestV2003.mdb", {"test"}},
        {"adox_jet4.mdb", {}}};
    for (const std::string& fixture : kFixtures) {
        SCOPED_TRACE(fixture);
        DBACCESS access(FixtureFile(fixture));
        std::vector<CString> names;
        ASSERT_TRUE(access.GetTables(names));
        std::vector<std::string> tables;
        for (const CString& name : names) {
            tables.push_back(name.ToUtf8());
        }
        EXPECT_EQ(tables, expectedTables.at(fixture));
        for (const std::string& table : tables) {
            SCOPED_TRACE(table);
            const Rows expected = MdbExport(Fixture(fixture), table);
            ASSERT_FALSE(expected.empty());
            DBACCESS_VECTOR rows;
            ASSERT_TRUE(access.GetTableData(CString(table.c_str()), rows));
            EXPECT_EQ(access.GetRecordsetsNumber(CString(table.c_str())),
                      static_cast<int>(expected.size()) - 1);
            EXPECT_EQ(rows.emptyTable, expected.size() == 1);
            ASSERT_EQ(rows.size(), expected.size() - 1);
            for (size_t r = 0; r < rows.size(); ++r) {
                ASSERT_EQ(rows[r].size(), expected[0].size());
                for (size_t c = 0; c < rows[r].size(); ++c) {
                    EXPECT_EQ(rows[r][static_cast<int>(c)].name.ToUtf8(), expected[0][c]);
                    EXPECT_EQ(Text(rows[r][static_cast<int>(c)]), expected[r + 1][c])
                        << "row " << r << " column " << expected[0][c];
                }
            }
        }
    }
}
