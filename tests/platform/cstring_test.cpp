#include <korvan/platform.h>

#include <gtest/gtest.h>

namespace {

CString Formatted(const wchar_t* format, ...) {
    va_list args;
    va_start(args, format);
    CString s;
    s.FormatV(format, args);
    va_end(args);
    return s;
}

TEST(CStringTest, ConstructionFromWideAndUtf8) {
    EXPECT_EQ(CString(static_cast<const wchar_t*>(nullptr)), L"");
    EXPECT_EQ(CString(static_cast<const char*>(nullptr)), L"");
    EXPECT_EQ(CString("Za\xC5\xBC\xC3\xB3\xC5\x82\xC4\x87"), L"Za\u017C\u00F3\u0142\u0107");
    EXPECT_EQ(CString("a\xFF"
                      "b"),
              L"a\uFFFDb");  // invalid UTF-8 from a host string
    EXPECT_EQ(CString(L"abcdef", 3), L"abc");
    EXPECT_EQ(CString(L'x', 3), L"xxx");
    EXPECT_EQ(CString(L"\u0416\U0001F600").ToUtf8(), "\xD0\x96\xF0\x9F\x98\x80");
}

TEST(CStringTest, SubstringsClampLikeMfc) {
    const CString s(L"catalogue");
    EXPECT_EQ(s.Left(3), L"cat");
    EXPECT_EQ(s.Left(-1), L"");
    EXPECT_EQ(s.Left(99), L"catalogue");
    EXPECT_EQ(s.Right(3), L"gue");
    EXPECT_EQ(s.Mid(3, 2), L"al");
    EXPECT_EQ(s.Mid(-2, 3), L"cat");
    EXPECT_EQ(s.Mid(20), L"");
    EXPECT_EQ(s.Mid(7, 10), L"ue");
}

TEST(CStringTest, SearchReplaceRemove) {
    CString s(L"a.b.c");
    EXPECT_EQ(s.Find(L'.'), 1);
    EXPECT_EQ(s.Find(L'.', 2), 3);
    EXPECT_EQ(s.Find(L'.', 9), -1);
    EXPECT_EQ(s.Find(L"b.c"), 2);
    EXPECT_EQ(s.ReverseFind(L'.'), 3);
    EXPECT_EQ(s.Replace(L'.', L','), 2);
    EXPECT_EQ(s, L"a,b,c");
    EXPECT_EQ(s.Replace(L",", L", "), 2);
    EXPECT_EQ(s, L"a, b, c");
    EXPECT_EQ(s.Replace(L"", L"x"), 0);
    EXPECT_EQ(s.Remove(L' '), 2);
    EXPECT_EQ(s, L"a,b,c");
    CString overlap(L"aaa");
    EXPECT_EQ(overlap.Replace(L"aa", L"b"), 1);
    EXPECT_EQ(overlap, L"ba");
    EXPECT_EQ(overlap.Insert(1, L"xy"), 4);
    EXPECT_EQ(overlap, L"bxya");
    EXPECT_EQ(overlap.Delete(1, 2), 2);
    EXPECT_EQ(overlap, L"ba");
}

TEST(CStringTest, Trimming) {
    EXPECT_EQ(CString(L" \t\r\n x y \u00A0\u3000").Trim(), L"x y");
    EXPECT_EQ(CString(L"[[x]]").Trim(L"[]"), L"x");
    EXPECT_EQ(CString(L"''x''").TrimLeft(L'\''), L"x''");
    EXPECT_EQ(CString(L"''x''").TrimRight(L'\''), L"''x");
}

TEST(CStringTest, CaseMappingIsUnicodeAndLocaleFree) {
    EXPECT_EQ(CString(L"Wall \u0141\u00D3D\u0179 \u0416\u0410\u0420").MakeLower(),
              L"wall \u0142\u00F3d\u017A \u0436\u0430\u0440");
    EXPECT_EQ(CString(L"stra\u00DFe \u03C3").MakeUpper(),
              L"STRA\u00DFE \u03A3");  // simple mapping keeps length
    EXPECT_EQ(CString(L"\u017B\u00D3\u0141W").CompareNoCase(L"\u017C\u00F3\u0142w"), 0);
    EXPECT_LT(CString(L"abc").CompareNoCase(L"ABD"), 0);
    EXPECT_LT(CString(L"B").Compare(L"a"), 0);                // ordinal
    EXPECT_GT(CString(L"\U0001F600").Compare(L"\uFFFF"), 0);  // by code point
    EXPECT_LT(CString(L"\uFFFF"), CString(L"\U00010000"));
    // Letters beyond U+FFFF have case too (Deseret).
    EXPECT_EQ(CString(L"\U00010400x").MakeLower(), L"\U00010428x");
    EXPECT_EQ(CString(L"\U00010428x").MakeUpper(), L"\U00010400X");
    EXPECT_EQ(CString(L"\U00010400").CompareNoCase(L"\U00010428"), 0);
    EXPECT_GT(CString(L"\U00010000").CompareNoCase(L"\uFFFD"), 0);
}

TEST(CStringTest, FormatFollowsWindowsWidePrintf) {
    EXPECT_EQ(
        Formatted(L"Table '%s' [%d %s] data parsed in: %.4f [s]", L"Parts", 2, L"rows", 0.12345),
        L"Table 'Parts' [2 rows] data parsed in: 0.1235 [s]");
    EXPECT_EQ(Formatted(L"%S|%hs|%ls|%ws", "n\xC3\xA4", "x", L"w", L"v"), L"n\u00E4|x|w|v");
    EXPECT_EQ(Formatted(L"%c%C%hc", L'\u0416', 'a', 'b'), L"\u0416ab");
    EXPECT_EQ(Formatted(L"[%5s|%-5s|%.2s]", L"ab", L"ab", L"abcdef"), L"[   ab|ab   |ab]");
    EXPECT_EQ(Formatted(L"%I64d %I64u %lld %zu", -9000000000LL, 18446744073709551615ULL, 7LL,
                        static_cast<size_t>(42)),
              L"-9000000000 18446744073709551615 7 42");
    EXPECT_EQ(Formatted(L"%05d|%x|%X|%+d|%hd", 42, 255, 255, 3, 70000), L"00042|ff|FF|+3|4464");
    EXPECT_EQ(Formatted(L"%*d|%-*d|%.*f", 4, 1, 3, 2, 1, 2.25), L"   1|2  |2.2");
    EXPECT_EQ(Formatted(L"100%% %s", static_cast<const wchar_t*>(nullptr)), L"100% (null)");
    EXPECT_EQ(Formatted(L"%e %g", 12345.678, 0.0001), L"1.234568e+04 0.0001");
}

TEST(CStringTest, FormatMayUseItsOwnText) {
    CString s(L"abc");
    s.Format(L"<%s>", s.GetString());
    EXPECT_EQ(s, L"<abc>");
    s.AppendFormat(L"%d", 5);
    EXPECT_EQ(s, L"<abc>5");
    CString long_text;
    long_text.Format(L"%s%.600f", L"x", 1.0);
    EXPECT_EQ(long_text.GetLength(), 1 + 2 + 600);
}

}  // namespace
