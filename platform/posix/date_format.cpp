#include "platform/posix/date_format.h"

#include <cmath>
#include <utility>

#include "platform/posix/variant_number.h"
#include "platform/unicode.h"

namespace korvan {
namespace {

constexpr long kSecondsPerDay = 86400;
constexpr double kDayNudge = 1e-11;

struct CivilDate {
    long year;
    unsigned month;
    unsigned day;
};

// Days from 1 January 1970 in the proleptic Gregorian calendar, after Howard
// Hinnant's days_from_civil.
constexpr long DaysFromCivil(long year, unsigned month, unsigned day) {
    year -= month <= 2 ? 1 : 0;
    const long era = (year >= 0 ? year : year - 399) / 400;
    const auto yearOfEra = static_cast<unsigned>(year - era * 400);
    const unsigned dayOfYear = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
    const unsigned dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * 146097 + static_cast<long>(dayOfEra) - 719468;
}

CivilDate CivilFromDays(long days) {
    days += 719468;
    const long era = (days >= 0 ? days : days - 146096) / 146097;
    const auto dayOfEra = static_cast<unsigned>(days - era * 146097);
    const unsigned yearOfEra =
        (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const unsigned dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const unsigned shiftedMonth = (5 * dayOfYear + 2) / 153;
    const unsigned day = dayOfYear - (153 * shiftedMonth + 2) / 5 + 1;
    const unsigned month = shiftedMonth < 10 ? shiftedMonth + 3 : shiftedMonth - 9;
    return {static_cast<long>(yearOfEra) + era * 400 + (month <= 2 ? 1 : 0), month, day};
}

// Day 0 of DATE: 30 December 1899.
constexpr long kEpoch = DaysFromCivil(1899, 12, 30);

bool IsValidDay(long year, unsigned month, unsigned day) {
    static const unsigned kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (month < 1 || month > 12 || day < 1) {
        return false;
    }
    const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    return day <= kDays[month - 1] + (month == 2 && leap ? 1 : 0);
}

void AppendTime(std::wstring& out, long seconds) {
    const long hour = seconds / 3600;
    const long minute = seconds / 60 % 60;
    const long second = seconds % 60;
    out += std::to_wstring(hour % 12 == 0 ? 12 : hour % 12);
    out += minute < 10 ? L":0" : L":";
    out += std::to_wstring(minute);
    out += second < 10 ? L":0" : L":";
    out += std::to_wstring(second);
    out += hour < 12 ? L" AM" : L" PM";
}

// Reading text: numbers, separators and the AM/PM marker.
class DateReader {
  public:
    explicit DateReader(const wchar_t* text) : m_at(text) {}

    void SkipBlanks() {
        while (IsWhiteSpace(*m_at)) {
            ++m_at;
        }
    }
    bool AtEnd() const { return *m_at == L'\0'; }
    bool AtDigit() const { return *m_at >= L'0' && *m_at <= L'9'; }
    bool Take(wchar_t ch) {
        if (*m_at != ch) {
            return false;
        }
        ++m_at;
        return true;
    }
    // Up to four digits.
    bool Number(long& value) {
        if (!AtDigit()) {
            return false;
        }
        value = 0;
        for (int n = 0; AtDigit(); ++n, ++m_at) {
            if (n == 4) {
                return false;
            }
            value = value * 10 + (*m_at - L'0');
        }
        return true;
    }
    // 'A' for AM, 'P' for PM ("AM", "PM", or a bare "A" or "P" that ends the
    // word), 0 when there is no marker.
    wchar_t Meridiem() {
        const wchar_t first = ToUpperSimple(m_at[0]);
        if (first != L'A' && first != L'P') {
            return L'\0';
        }
        if (ToUpperSimple(m_at[1]) == L'M') {
            m_at += 2;
            return first;
        }
        if (m_at[1] == L'\0' || IsWhiteSpace(m_at[1])) {
            m_at += 1;
            return first;
        }
        return L'\0';
    }

  private:
    const wchar_t* m_at;
};

bool ReadDate(DateReader& reader, long& days) {
    long month = 0;
    long day = 0;
    long year = 0;
    if (!reader.Number(month) || !reader.Take(L'/') || !reader.Number(day) || !reader.Take(L'/') ||
        !reader.Number(year)) {
        return false;
    }
    year += year < 50 ? 2000 : (year < 100 ? 1900 : 0);
    if (year < 100 || year > 9999) {
        return false;
    }
    // Month first, as en-US writes it; else day first, when that makes a date.
    if (!IsValidDay(year, static_cast<unsigned>(month), static_cast<unsigned>(day))) {
        std::swap(month, day);
        if (!IsValidDay(year, static_cast<unsigned>(month), static_cast<unsigned>(day))) {
            return false;
        }
    }
    days = DaysFromCivil(year, static_cast<unsigned>(month), static_cast<unsigned>(day)) - kEpoch;
    return true;
}

bool ReadTime(DateReader& reader, long& seconds) {
    long hour = 0;
    long minute = 0;
    long second = 0;
    if (!reader.Number(hour) || !reader.Take(L':') || !reader.Number(minute)) {
        return false;
    }
    if (reader.Take(L':') && !reader.Number(second)) {
        return false;
    }
    if (hour > 23 || minute > 59 || second > 59) {
        return false;
    }
    reader.SkipBlanks();
    const wchar_t meridiem = reader.Meridiem();
    if (meridiem == L'P' && hour < 12) {
        hour += 12;
    } else if (meridiem == L'A' && hour == 12) {
        hour = 0;
    }
    seconds = hour * 3600 + minute * 60 + second;
    return true;
}

// The time of day in whole seconds, as the system reckons it: 1e-11 of a day
// (under a microsecond) is added before hours, minutes and seconds are taken
// one after the other, so that a time at half a second, which a double holds
// a hair below or above the half, rounds up.
long SecondsOfDay(double fraction) {
    double time = fraction + kDayNudge;
    if (time >= 1.0) {
        time -= kDayNudge;
    }
    time *= 24.0;
    const auto hour = static_cast<long>(time);
    time = (time - static_cast<double>(hour)) * 60.0;
    const auto minute = static_cast<long>(time);
    time = (time - static_cast<double>(minute)) * 60.0;
    const auto second = static_cast<long>(time);
    time -= static_cast<double>(second);
    return hour * 3600 + minute * 60 + second + (time > 0.5 ? 1 : 0);
}

}  // namespace

HRESULT FormatDate(DATE value, std::wstring& out) {
    if (!(value > kDateMin - 1.0 && value < kDateMax + 1.0)) {
        return E_INVALIDARG;
    }
    const double whole = std::trunc(value);
    const double fraction = std::fabs(value - whole);
    long seconds = SecondsOfDay(fraction);
    long days = static_cast<long>(whole);
    if (seconds == kSecondsPerDay) {
        seconds = 0;
        ++days;
    }
    const bool timeOnly = whole == 0.0;
    const bool dateOnly = !timeOnly && fraction < 1e-12;
    out.clear();
    if (!timeOnly) {
        const CivilDate date = CivilFromDays(days + kEpoch);
        out += std::to_wstring(date.month) + L'/' + std::to_wstring(date.day) + L'/' +
               std::to_wstring(date.year);
    }
    if (!dateOnly) {
        if (!timeOnly) {
            out += L' ';
        }
        AppendTime(out, seconds);
    }
    return S_OK;
}

HRESULT ParseDate(const wchar_t* text, DATE& out) {
    if (!text) {
        return DISP_E_TYPEMISMATCH;
    }
    DateReader reader(text);
    reader.SkipBlanks();
    long days = 0;
    long seconds = 0;
    DateReader attempt = reader;
    const bool hasDate = ReadDate(attempt, days);
    if (hasDate) {
        reader = attempt;
        reader.SkipBlanks();
    }
    const bool hasTime = !reader.AtEnd();
    if (hasTime && !ReadTime(reader, seconds)) {
        return DISP_E_TYPEMISMATCH;
    }
    reader.SkipBlanks();
    if (!(hasDate || hasTime) || !reader.AtEnd()) {
        return DISP_E_TYPEMISMATCH;
    }
    const double time = static_cast<double>(seconds) / kSecondsPerDay;
    // Before day 0 the time of day counts away from zero, as in -1.25.
    out = days < 0 ? static_cast<double>(days) - time : static_cast<double>(days) + time;
    return S_OK;
}

}  // namespace korvan
