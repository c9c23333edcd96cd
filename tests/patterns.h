// Matchers of texts by regular expression that read one pattern syntax on
// every system (GoogleTest's own regular expressions are POSIX ones on some
// systems and a small subset on others).
#pragma once

#include <gmock/gmock.h>

#include <regex>
#include <string>

namespace test_patterns {

// The whole text matches the ECMAScript pattern.
inline auto MatchesPattern(const std::string& pattern) {
    return ::testing::Truly(
        [re = std::regex(pattern)](const std::string& text) { return std::regex_match(text, re); });
}

// Some part of the text matches the ECMAScript pattern.
inline auto ContainsPattern(const std::string& pattern) {
    return ::testing::Truly([re = std::regex(pattern)](const std::string& text) {
        return std::regex_search(text, re);
    });
}

}  // namespace test_patterns
