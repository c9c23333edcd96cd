#include <korvan/platform.h>

#include <gtest/gtest.h>

#include "platform/display_width.h"
#include "platform/utf.h"

#include <string>
#include <utility>

namespace {

TEST(Utf8Test, StrictDecodingAcceptsOnlyWellFormedText) {
    struct Case {
        std::string bytes;
        bool valid;
        std::wstring text;
    };
    const Case cases[] = {
        {"", true, L""},
        {"\xEF\xBB\xBFx", true, L"\uFEFFx"},  // a byte order mark is kept
        {"\xC5\x81\xC3\xB3\xC5\xBA", true, L"\u0141\u00F3\u017A"},
        {"\xF0\x9F\x98\x80", true, L"\U0001F600"},
        {"\xF4\x8F\xBF\xBF", true, L"\U0010FFFF"},
        {std::string("a\0b", 3), true, std::wstring(L"a\0b", 3)},
        {"\x80", false, L""},              // stray continuation byte
        {"\xC3", false, L""},              // truncated
        {"\xC0\xAF", false, L""},          // overlong "/"
        {"\xE0\x80\xAF", false, L""},      // overlong
        {"\xED\xA0\x80", false, L""},      // surrogate
        {"\xF4\x90\x80\x80", false, L""},  // above U+10FFFF
        {"ok\xC3(", false, L""},           // continuation missing
    };
    for (const Case& c : cases) {
        std::wstring out = L"stale";
        EXPECT_EQ(korvan::DecodeUtf8(c.bytes, out), c.valid) << c.bytes;
        EXPECT_EQ(out, c.text) << c.bytes;
    }
}

TEST(Utf8Test, LenientDecodingReplacesEachIllFormedPartOnce) {
    // A part ends at the first byte that no well-formed sequence could have
    // there: after E0 only A0..BF may follow, after ED only 80..9F, after F0
    // only 90..BF, after F4 only 80..8F.
    const std::pair<std::string, std::wstring> cases[] = {
        {"\xE0\x80\x80", L"\uFFFD\uFFFD\uFFFD"},                  // overlong
        {"\xED\xA0\x80x", L"\uFFFD\uFFFD\uFFFDx"},                // surrogate
        {"\xF4\x90\x80\x80", L"\uFFFD\uFFFD\uFFFD\uFFFD"},        // above U+10FFFF
        {"\xF0\x80\x80\x80", L"\uFFFD\uFFFD\uFFFD\uFFFD"},        // overlong
        {"\xF0\x90\x80", L"\uFFFD"},                              // cut short
        {"\xE2\x82(\xC3", L"\uFFFD(\uFFFD"},                      // interrupted, cut short
        {"\xC0\xAF\xF0\x9F\x98\x80", L"\uFFFD\uFFFD\U0001F600"},  // then a valid one
    };
    for (const auto& [bytes, text] : cases) {
        EXPECT_EQ(korvan::DecodeUtf8Lenient(bytes), text) << testing::PrintToString(bytes);
    }
}

TEST(Utf8Test, EncodingRoundTripsAndReplacesInvalidCodePoints) {
    const std::wstring text = L"A\u00E9\u20AC\U0001F600";
    std::wstring back;
    ASSERT_TRUE(korvan::DecodeUtf8(korvan::EncodeUtf8(text), back));
    EXPECT_EQ(back, text);
    EXPECT_EQ(korvan::EncodeUtf8(std::wstring(1, static_cast<wchar_t>(0xD800))), "\xEF\xBF\xBD");
    // A reversed pair is two lone surrogates.
    EXPECT_EQ(korvan::EncodeUtf8(
                  std::wstring{static_cast<wchar_t>(0xDE00), static_cast<wchar_t>(0xD83D)}),
              "\xEF\xBF\xBD\xEF\xBF\xBD");
    if (WCHAR_MAX > 0xFFFF) {  // a 32-bit wchar_t holds values beyond Unicode
        EXPECT_EQ(korvan::EncodeUtf8(std::wstring(1, static_cast<wchar_t>(0x110000))),
                  "\xEF\xBF\xBD");
    }
}

TEST(Utf16Test, BytesAreThoseWindowsWouldGive) {
    EXPECT_EQ(korvan::EncodeUtf16LE(L"AB"), (std::vector<BYTE>{0x41, 0x00, 0x42, 0x00}));
    EXPECT_EQ(korvan::EncodeUtf16LE(L"\U0001F600"), (std::vector<BYTE>{0x3D, 0xD8, 0x00, 0xDE}));
    const std::vector<BYTE> pair = {0x3D, 0xD8, 0x00, 0xDE, 0x41, 0x00};
    EXPECT_EQ(korvan::DecodeUtf16LE(pair.data(), pair.size()), L"\U0001F600A");
    const std::vector<BYTE> odd = {0x41, 0x42, 0x43};
    EXPECT_EQ(korvan::DecodeUtf16LE(odd.data(), odd.size()), L"\u4241\u0043");
    const std::vector<BYTE> lone = {0x00, 0xD8, 0x41, 0x00};
    EXPECT_EQ(korvan::DecodeUtf16LE(lone.data(), lone.size()),
              (std::wstring{static_cast<wchar_t>(0xD800), L'A'}));
}

TEST(ExceptionTest, MfcExceptionsReportTheirMessageAndDeleteThemselves) {
    try {
        AfxThrowMemoryException();
    } catch (CException* e) {
        wchar_t buffer[4];
        unsigned int help = 7;
        EXPECT_EQ(e->GetErrorMessage(buffer, 4, &help), 1);
        EXPECT_STREQ(buffer, L"Out");
        EXPECT_EQ(help, 0u);
        e->Delete();
    }
    try {
        AfxThrowInvalidArgException();
    } catch (CInvalidArgException* e) {
        wchar_t buffer[64];
        e->GetErrorMessage(buffer, 64);
        EXPECT_STREQ(buffer, L"Encountered an improper argument.");
        e->Delete();
    }
    EXPECT_THROW(AtlThrow(E_OUTOFMEMORY), CAtlException);
}

// The check-only pass agrees with the strict decoder wherever a bad sequence
// sits relative to the ASCII runs it skips a word at a time.
TEST(Utf8CheckTest, AgreesWithStrictDecodingAtEveryOffset) {
    // Valid forms of every length, then stray, truncated, overlong,
    // surrogate, too large and interrupted sequences.
    const std::string sequences[] = {
        "\xC5\x81", "\xE2\x82\xAC", "\xF4\x8F\xBF\xBF", std::string(1, 0),  "\x80",
        "\xE2\x82", "\xC0\xAF",     "\xED\xA0\x80",     "\xF4\x90\x80\x80", "\xC3("};
    for (const std::string& sequence : sequences) {
        for (size_t before = 0; before < 17; ++before) {
            for (const size_t after : {size_t{0}, size_t{3}, size_t{8}}) {
                const std::string bytes =
                    std::string(before, 'a') + sequence + std::string(after, 'z');
                std::wstring decoded;
                EXPECT_EQ(korvan::IsValidUtf8(bytes), korvan::DecodeUtf8(bytes, decoded))
                    << testing::PrintToString(bytes);
            }
        }
    }
    EXPECT_TRUE(korvan::IsValidUtf8(""));
}

// Columns on a terminal: wide characters two (beyond U+FFFF too, whatever
// the width of wchar_t), combining marks none.
TEST(DisplayWidthTest, WideAndCombiningCharacters) {
    EXPECT_EQ(korvan::DisplayWidth(L"HEA 100"), 7u);
    EXPECT_EQ(korvan::DisplayWidth(L"\u6F22\u5B57a"), 5u);
    EXPECT_EQ(korvan::DisplayWidth(L"e\u0301"), 1u);
    EXPECT_EQ(korvan::DisplayWidth(L"\U0001F600\U00020000"), 4u);
    EXPECT_EQ(korvan::DisplayWidth(L"\uFF21"), 2u);
}

}  // namespace
