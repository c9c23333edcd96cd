#include "platform/format.h"

#include "platform/utf.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <cwchar>

namespace korvan {
namespace {

enum class Length {
    None,
    Char,
    Short,
    Long,
    LongLong,
    Int32,
    Size,
    Max,
    PtrDiff,
    LongDouble,
    Wide
};

// One conversion directive, e.g. "%-08.3I64d".
struct Spec {
    std::string flags;
    int width = -1;
    int precision = -1;
    Length length = Length::None;
    wchar_t conversion = 0;
};

bool IsDigit(wchar_t ch) {
    return ch >= L'0' && ch <= L'9';
}

int ReadNumber(const wchar_t*& p) {
    int value = 0;
    while (IsDigit(*p) && value < 100000) {
        value = value * 10 + (*p++ - L'0');
    }
    return value;
}

Length ReadLength(const wchar_t*& p) {
    auto starts = [&p](const wchar_t* prefix) {
        const size_t n = std::wcslen(prefix);
        if (std::wcsncmp(p, prefix, n) != 0) {
            return false;
        }
        p += n;
        return true;
    };
    if (starts(L"hh"))
        return Length::Char;
    if (starts(L"h"))
        return Length::Short;
    if (starts(L"ll") || starts(L"I64"))
        return Length::LongLong;
    if (starts(L"l"))
        return Length::Long;
    if (starts(L"I32"))
        return Length::Int32;
    if (starts(L"I") || starts(L"z"))
        return Length::Size;
    if (starts(L"j"))
        return Length::Max;
    if (starts(L"t"))
        return Length::PtrDiff;
    if (starts(L"L"))
        return Length::LongDouble;
    if (starts(L"w"))
        return Length::Wide;
    return Length::None;
}

// Parses everything after '%'; p ends after the conversion character.
Spec ReadSpec(const wchar_t*& p, va_list& args) {
    Spec spec;
    while (*p && std::wcschr(L"-+ #0", *p)) {
        spec.flags += static_cast<char>(*p++);
    }
    if (*p == L'*') {
        ++p;
        spec.width = va_arg(args, int);
        if (spec.width < 0) {
            spec.flags += '-';
            spec.width = -spec.width;
        }
    } else if (IsDigit(*p)) {
        spec.width = ReadNumber(p);
    }
    if (*p == L'.') {
        ++p;
        if (*p == L'*') {
            ++p;
            spec.precision = va_arg(args, int);
            if (spec.precision < 0) {
                spec.precision = -1;
            }
        } else {
            spec.precision = ReadNumber(p);
        }
    }
    spec.length = ReadLength(p);
    spec.conversion = *p;
    if (*p) {
        ++p;
    }
    return spec;
}

// The C format for one number: flags, width, precision, then the given
// length modifier and conversion.
std::string CFormat(const Spec& spec, const char* length, char conversion) {
    std::string f = "%";
    f.append(spec.flags);
    if (spec.width >= 0) {
        f.append(std::to_string(spec.width));
    }
    if (spec.precision >= 0) {
        f.append(".").append(std::to_string(spec.precision));
    }
    f.append(length).push_back(conversion);
    return f;
}

template <typename T>
void AppendC(std::wstring& out, const std::string& format, T value) {
    char buffer[512];
    int n = std::snprintf(buffer, sizeof buffer, format.c_str(), value);
    if (n < 0) {
        return;
    }
    if (static_cast<std::size_t>(n) < sizeof buffer) {
        out.append(buffer, buffer + n);
        return;
    }
    std::string big(static_cast<std::size_t>(n) + 1, '\0');
    std::snprintf(big.data(), big.size(), format.c_str(), value);
    out.append(big.begin(), big.begin() + n);
}

void AppendPadded(std::wstring& out, std::wstring_view text, const Spec& spec) {
    if (spec.precision >= 0 && text.size() > static_cast<std::size_t>(spec.precision)) {
        text = text.substr(0, static_cast<std::size_t>(spec.precision));
    }
    const size_t pad = spec.width > 0 && static_cast<std::size_t>(spec.width) > text.size()
                           ? spec.width - text.size()
                           : 0;
    const bool left = spec.flags.find('-') != std::string::npos;
    if (!left) {
        out.append(pad, L' ');
    }
    out.append(text);
    if (left) {
        out.append(pad, L' ');
    }
}

long long ReadSigned(Length length, va_list& args) {
    switch (length) {
        case Length::Char:
            return static_cast<signed char>(va_arg(args, int));
        case Length::Short:
            return static_cast<short>(va_arg(args, int));
        case Length::Long:
            return va_arg(args, long);
        case Length::LongLong:
            return va_arg(args, long long);
        case Length::Size:
            return va_arg(args, std::ptrdiff_t);
        case Length::Max:
            return va_arg(args, intmax_t);
        case Length::PtrDiff:
            return va_arg(args, std::ptrdiff_t);
        default:
            return va_arg(args, int);
    }
}

unsigned long long ReadUnsigned(Length length, va_list& args) {
    switch (length) {
        case Length::Char:
            return static_cast<unsigned char>(va_arg(args, unsigned));
        case Length::Short:
            return static_cast<unsigned short>(va_arg(args, unsigned));
        case Length::Long:
            return va_arg(args, unsigned long);
        case Length::LongLong:
            return va_arg(args, unsigned long long);
        case Length::Size:
            return va_arg(args, size_t);
        case Length::Max:
            return va_arg(args, uintmax_t);
        case Length::PtrDiff:
            return static_cast<unsigned long long>(va_arg(args, std::ptrdiff_t));
        default:
            return va_arg(args, unsigned);
    }
}

void AppendString(std::wstring& out, const Spec& spec, bool narrow, va_list& args) {
    if (narrow) {
        const char* text = va_arg(args, const char*);
        AppendPadded(out, text ? DecodeUtf8Lenient(text) : L"(null)", spec);
    } else {
        const wchar_t* text = va_arg(args, const wchar_t*);
        AppendPadded(out, text ? text : L"(null)", spec);
    }
}

void AppendConversion(std::wstring& out, const Spec& spec, va_list& args) {
    const bool wideLength = spec.length == Length::Long || spec.length == Length::Wide;
    switch (spec.conversion) {
        case L'd':
        case L'i':
            AppendC(out, CFormat(spec, "ll", 'd'), ReadSigned(spec.length, args));
            break;
        case L'u':
        case L'o':
        case L'x':
        case L'X':
            AppendC(out, CFormat(spec, "ll", static_cast<char>(spec.conversion)),
                    ReadUnsigned(spec.length, args));
            break;
        case L'e':
        case L'E':
        case L'f':
        case L'F':
        case L'g':
        case L'G':
        case L'a':
        case L'A':
            if (spec.length == Length::LongDouble) {
                AppendC(out, CFormat(spec, "L", static_cast<char>(spec.conversion)),
                        va_arg(args, long double));
            } else {
                AppendC(out, CFormat(spec, "", static_cast<char>(spec.conversion)),
                        va_arg(args, double));
            }
            break;
        case L'c':
        case L'C': {
            const bool narrow =
                spec.length == Length::Short || (spec.conversion == L'C' && !wideLength);
            const int value = va_arg(args, int);
            const wchar_t ch = narrow ? static_cast<wchar_t>(static_cast<unsigned char>(value))
                                      : static_cast<wchar_t>(value);
            AppendPadded(out, std::wstring_view(&ch, 1), Spec{spec.flags, spec.width, -1});
            break;
        }
        case L's':
            AppendString(out, spec, spec.length == Length::Short, args);
            break;
        case L'S':
            AppendString(out, spec, !wideLength, args);
            break;
        case L'p':
            AppendC(out, CFormat(spec, "", 'p'), va_arg(args, void*));
            break;
        case L'n':
            va_arg(args, void*);  // never written to
            break;
        default:
            break;  // an unknown conversion prints nothing and consumes nothing
    }
}

}  // namespace

void AppendFormatted(std::wstring& out, const wchar_t* format, va_list args) {
    if (!format) {
        return;
    }
    va_list ap;
    va_copy(ap, args);
    for (const wchar_t* p = format; *p;) {
        if (*p != L'%') {
            out += *p++;
            continue;
        }
        ++p;
        if (*p == L'%') {
            out += L'%';
            ++p;
            continue;
        }
        AppendConversion(out, ReadSpec(p, ap), ap);
    }
    va_end(ap);
}

CString Join(const std::vector<CString>& parts, const wchar_t* separator) {
    CString text;
    for (size_t i = 0; i < parts.size(); ++i) {
        if (i > 0) {
            text += separator;
        }
        text += parts[i];
    }
    return text;
}

}  // namespace korvan
