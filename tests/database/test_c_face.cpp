// The plain C face: open, query, read the answer as UTF-8, free; every
// failure a text, never an exception across the C boundary.
#include <korvan/korvan_c.h>

#include <gtest/gtest.h>

#include <string>

#include "files.h"

namespace {

const std::string kExample = KORVAN_SOURCE_DIR "/examples/sections.xml";

TEST(CFace, QueryAnswerAsUtf8Texts) {
    ScratchDir dir;
    WriteBytes(dir.Path("texts.xml"), ReadBytes(kExample));
    korvan_database* db = korvan_open(dir.Path("texts.xml").c_str(), nullptr, 0);
    ASSERT_NE(db, nullptr);
    korvan_result* result = korvan_query(
        db, "select designation, mass from i_beams where mass > 30 order by mass desc");
    ASSERT_NE(result, nullptr) << korvan_last_error(db);
    EXPECT_STREQ(korvan_last_error(db), "");
    ASSERT_EQ(korvan_result_columns(result), 2);
    EXPECT_STREQ(korvan_result_column_name(result, 1), "mass");
    EXPECT_EQ(korvan_result_column_name(result, 2), nullptr);
    ASSERT_GT(korvan_result_rows(result), 1);
    double previous = 1e300;
    for (long long r = 0; r < korvan_result_rows(result); ++r) {
        const double mass = std::stod(korvan_result_text(result, r, 1));
        EXPECT_GT(mass, 30.0);
        EXPECT_LE(mass, previous);  // in descending order
        previous = mass;
    }
    EXPECT_EQ(korvan_result_text(result, korvan_result_rows(result), 0), nullptr);
    EXPECT_EQ(korvan_result_text(result, 0, 5), nullptr);

    // The answer outlives the database, which was not written.
    korvan_close(db);
    EXPECT_NE(korvan_result_text(result, 0, 0), nullptr);
    korvan_result_free(result);
    EXPECT_EQ(ReadBytes(dir.Path("texts.xml")), ReadBytes(kExample));
}

TEST(CFace, FailuresAreTexts) {
    char error[256] = "stale";
    EXPECT_EQ(korvan_open("/no/such/dir/cat.xml", error, sizeof error), nullptr);
    EXPECT_NE(std::string(error).find("cat.xml"), std::string::npos) << error;
    char tiny[4];
    EXPECT_EQ(korvan_open("/no/such/dir/cat.xml", tiny, sizeof tiny), nullptr);
    EXPECT_EQ(std::string(tiny).size(), 3u);  // cut to fit, terminated

    korvan_database* db = korvan_open(kExample.c_str(), nullptr, 0);
    ASSERT_NE(db, nullptr);
    EXPECT_EQ(korvan_query(db, "select nothing from nowhere"), nullptr);
    EXPECT_NE(std::string(korvan_last_error(db)), "");
    EXPECT_EQ(korvan_query(nullptr, "select * from i_beams"), nullptr);
    EXPECT_EQ(korvan_result_rows(nullptr), 0);
    korvan_close(db);
    korvan_close(nullptr);
    korvan_result_free(nullptr);
}

}  // namespace
