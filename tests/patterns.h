// Matchers of texts by shape, for log lines with figures in them ("Query
// 'Query_12' processed in 0.0031 [s]"): in a shape '#' stands for one digit,
// '+' for one or more digits, and every other character for itself. (The
// regular expressions of GoogleTest differ between systems.)
#pragma once

#include <gmock/gmock.h>

#include <string>
#include <string_view>

namespace test_patterns {

inline bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

// Whether text begins with the shape; the length of that beginning in length.
inline bool StartsWithShape(std::string_view text, std::string_view shape, size_t& length) {
    size_t at = 0;
    for (char s : shape) {
        if (s == '+' || s == '#') {
            if (at == text.size() || !IsDigit(text[at])) {
                return false;
            }
            ++at;
            while (s == '+' && at < text.size() && IsDigit(text[at])) {
                ++at;
            }
        } else if (at == text.size() || text[at++] != s) {
            return false;
        }
    }
    length = at;
    return true;
}

// The whole text has the shape.
inline auto HasShape(const std::string& shape) {
    return ::testing::Truly([shape](const std::string& text) {
        size_t length = 0;
        return StartsWithShape(text, shape, length) && length == text.size();
    });
}

// Some part of the text has the shape.
inline auto ContainsShape(const std::string& shape) {
    return ::testing::Truly([shape](const std::string& text) {
        size_t length = 0;
        for (size_t start = 0; start <= text.size(); ++start) {
            if (StartsWithShape(std::string_view(text).substr(start), shape, length)) {
                return true;
            }
        }
        return false;
    });
}

}  // namespace test_patterns
