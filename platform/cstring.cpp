#include <korvan/platform.h>

#include "platform/format.h"
#include "platform/unicode.h"
#include "platform/utf.h"

#include <algorithm>
#include <cwchar>

namespace {

size_t Clamp(int value, size_t limit) {
    return value <= 0 ? 0 : std::min(static_cast<size_t>(value), limit);
}

bool Contains(const wchar_t* chars, wchar_t ch) {
    return chars && std::wcschr(chars, ch) && ch;
}

}  // namespace

CString::CString(const wchar_t* text) : m_text(text ? text : L"") {}

CString::CString(const wchar_t* text, int length)
    : m_text(text && length > 0 ? std::wstring(text, static_cast<size_t>(length))
                                : std::wstring()) {}

CString::CString(const char* utf8)
    : m_text(utf8 ? korvan::DecodeUtf8Lenient(utf8) : std::wstring()) {}

CString::CString(wchar_t ch, int repeat) : m_text(Clamp(repeat, SIZE_MAX), ch) {}

std::string CString::ToUtf8() const {
    return korvan::EncodeUtf8(m_text);
}

BSTR CString::AllocSysString() const {
    return SysAllocStringLen(m_text.c_str(), static_cast<UINT>(m_text.size()));
}

CString& CString::MakeLower() {
    korvan::ToLowerInPlace(m_text);
    return *this;
}

CString& CString::MakeUpper() {
    korvan::ToUpperInPlace(m_text);
    return *this;
}

CString CString::Left(int count) const {
    return CString(m_text.substr(0, Clamp(count, m_text.size())));
}

CString CString::Right(int count) const {
    const size_t n = Clamp(count, m_text.size());
    return CString(m_text.substr(m_text.size() - n));
}

CString CString::Mid(int first) const {
    const size_t start = Clamp(first, m_text.size());
    return CString(m_text.substr(start));
}

CString CString::Mid(int first, int count) const {
    const size_t start = Clamp(first, m_text.size());
    return CString(m_text.substr(start, Clamp(count, m_text.size() - start)));
}

int CString::Find(wchar_t ch, int start) const {
    if (start < 0 || static_cast<size_t>(start) > m_text.size()) {
        return -1;
    }
    const size_t pos = m_text.find(ch, static_cast<size_t>(start));
    return pos == std::wstring::npos ? -1 : static_cast<int>(pos);
}

int CString::Find(const wchar_t* sub, int start) const {
    if (!sub || start < 0 || static_cast<size_t>(start) > m_text.size()) {
        return -1;
    }
    const size_t pos = m_text.find(sub, static_cast<size_t>(start));
    return pos == std::wstring::npos ? -1 : static_cast<int>(pos);
}

int CString::ReverseFind(wchar_t ch) const {
    const size_t pos = m_text.rfind(ch);
    return pos == std::wstring::npos ? -1 : static_cast<int>(pos);
}

int CString::Replace(wchar_t from, wchar_t to) {
    if (from == to) {
        return 0;
    }
    int count = 0;
    for (wchar_t& ch : m_text) {
        if (ch == from) {
            ch = to;
            ++count;
        }
    }
    return count;
}

int CString::Replace(const wchar_t* from, const wchar_t* to) {
    const std::wstring_view needle = from ? from : L"";
    if (needle.empty()) {
        return 0;
    }
    const std::wstring_view replacement = to ? to : L"";
    std::wstring result;
    int count = 0;
    size_t done = 0;
    for (size_t pos = m_text.find(needle); pos != std::wstring::npos;
         pos = m_text.find(needle, done)) {
        result.append(m_text, done, pos - done).append(replacement);
        done = pos + needle.size();
        ++count;
    }
    if (count > 0) {
        result.append(m_text, done);
        m_text = std::move(result);
    }
    return count;
}

int CString::Remove(wchar_t ch) {
    const auto end = std::remove(m_text.begin(), m_text.end(), ch);
    const int count = static_cast<int>(m_text.end() - end);
    m_text.erase(end, m_text.end());
    return count;
}

int CString::Insert(int index, wchar_t ch) {
    m_text.insert(Clamp(index, m_text.size()), 1, ch);
    return GetLength();
}

int CString::Insert(int index, const wchar_t* text) {
    if (text) {
        m_text.insert(Clamp(index, m_text.size()), text);
    }
    return GetLength();
}

int CString::Delete(int index, int count) {
    const size_t start = Clamp(index, m_text.size());
    m_text.erase(start, Clamp(count, m_text.size() - start));
    return GetLength();
}

CString& CString::TrimLeft() {
    const auto first = std::find_if_not(m_text.begin(), m_text.end(), korvan::IsWhiteSpace);
    m_text.erase(m_text.begin(), first);
    return *this;
}

CString& CString::TrimLeft(wchar_t ch) {
    m_text.erase(0, std::min(m_text.find_first_not_of(ch), m_text.size()));
    return *this;
}

CString& CString::TrimLeft(const wchar_t* chars) {
    const auto first = std::find_if_not(m_text.begin(), m_text.end(),
                                        [chars](wchar_t ch) { return Contains(chars, ch); });
    m_text.erase(m_text.begin(), first);
    return *this;
}

CString& CString::TrimRight() {
    const auto last = std::find_if_not(m_text.rbegin(), m_text.rend(), korvan::IsWhiteSpace);
    m_text.erase(last.base(), m_text.end());
    return *this;
}

CString& CString::TrimRight(wchar_t ch) {
    const size_t last = m_text.find_last_not_of(ch);
    m_text.erase(last == std::wstring::npos ? 0 : last + 1);
    return *this;
}

CString& CString::TrimRight(const wchar_t* chars) {
    const auto last = std::find_if_not(m_text.rbegin(), m_text.rend(),
                                       [chars](wchar_t ch) { return Contains(chars, ch); });
    m_text.erase(last.base(), m_text.end());
    return *this;
}

CString& CString::Trim() {
    return TrimRight().TrimLeft();
}
CString& CString::Trim(wchar_t ch) {
    return TrimRight(ch).TrimLeft(ch);
}
CString& CString::Trim(const wchar_t* chars) {
    return TrimRight(chars).TrimLeft(chars);
}

int CString::Compare(const wchar_t* other) const {
    return korvan::CompareCodePoints(m_text, other ? other : L"");
}

bool operator<(const CString& a, const CString& b) {
    return korvan::CompareCodePoints(a.m_text, b.m_text) < 0;
}

int CString::CompareNoCase(const wchar_t* other) const {
    return korvan::CompareNoCase(m_text, other ? other : L"");
}

void CString::Format(const wchar_t* format, ...) {
    va_list args;
    va_start(args, format);
    FormatV(format, args);
    va_end(args);
}

void CString::FormatV(const wchar_t* format, va_list args) {
    // Formatted into a new string, since an argument may be this very text.
    CString result;
    result.AppendFormatV(format, args);
    m_text = std::move(result.m_text);
}

void CString::AppendFormat(const wchar_t* format, ...) {
    va_list args;
    va_start(args, format);
    AppendFormatV(format, args);
    va_end(args);
}

void CString::AppendFormatV(const wchar_t* format, va_list args) {
    std::wstring result;
    korvan::AppendFormatted(result, format, args);
    m_text += result;
}

CString& CString::operator+=(const wchar_t* other) {
    if (other) {
        m_text += other;
    }
    return *this;
}
