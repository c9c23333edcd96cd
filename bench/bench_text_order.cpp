// Text order as ORDER BY uses it: VarCmp on catalogue-like names, against
// ICU's own comparison of the same texts already held as UTF-16 (the floor
// for any comparison that asks ICU) and against the ICU path of the layer.
#include <korvan/platform.h>
#include <unicode/ucol.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "bench/bench_support.h"
#include "platform/posix/icu_collator.h"

namespace {

constexpr size_t kRounds = 20;

std::vector<std::wstring> CatalogueNames() {
    std::vector<std::wstring> names;
    for (const wchar_t* profile : {L"HEA", L"HEB", L"HEM", L"IPE", L"UPN", L"RHS", L"L", L"T"}) {
        for (int size = 80; size <= 1000; size += 20) {
            for (const wchar_t* grade : {L"", L" S235", L" s355", L"-A", L" (Ed. 2)"}) {
                names.push_back(std::wstring(profile) + L' ' + std::to_wstring(size) + grade);
            }
        }
    }
    return names;
}

// The same pairs of texts for every measure.
std::vector<std::pair<size_t, size_t>> Pairs(size_t count) {
    std::vector<std::pair<size_t, size_t>> pairs;
    for (size_t round = 0; round < kRounds; ++round) {
        for (size_t i = 0; i < count; ++i) {
            pairs.emplace_back(i, (i * 7919 + round) % count);
        }
    }
    return pairs;
}

// The best of a few runs, which filters out the noise of a shared machine.
template <typename Compare>
double NanosecondsPerComparison(const std::vector<std::pair<size_t, size_t>>& pairs,
                                Compare compare, long& checksum) {
    const double best = bench::BestOf(7, [&] {
        for (const auto& [a, b] : pairs) {
            checksum += compare(a, b);
        }
    });
    return best * 1e9 / static_cast<double>(pairs.size());
}

}  // namespace

int main() {
    const std::vector<std::wstring> names = CatalogueNames();
    std::vector<CComVariant> values(names.begin(), names.end());
    std::vector<std::u16string> utf16;
    for (const std::wstring& name : names) {
        utf16.emplace_back(name.begin(), name.end());
    }
    UErrorCode status = U_ZERO_ERROR;
    UCollator* icu = ucol_open("", &status);
    korvan::IcuCollator* layer = korvan::IcuCollator::Current();
    if (U_FAILURE(status) || !layer) {
        std::fprintf(stderr, "no collator\n");
        return 1;
    }
    long checksum = 0;
    const size_t n = names.size();
    const auto pairs = Pairs(n);
    const double varCmp = NanosecondsPerComparison(
        pairs,
        [&](size_t a, size_t b) { return VarCmp(&values[a], &values[b], LOCALE_USER_DEFAULT, 0); },
        checksum);
    const double layerShortcut = NanosecondsPerComparison(
        pairs, [&](size_t a, size_t b) { return layer->Compare(names[a], names[b], false); },
        checksum);
    const double layerIcu = NanosecondsPerComparison(
        pairs, [&](size_t a, size_t b) { return layer->CompareWithIcu(names[a], names[b], false); },
        checksum);
    const double rawIcu = NanosecondsPerComparison(
        pairs,
        [&](size_t a, size_t b) {
            return static_cast<int>(ucol_strcoll(icu,
                                                 reinterpret_cast<const UChar*>(utf16[a].data()),
                                                 static_cast<int32_t>(utf16[a].size()),
                                                 reinterpret_cast<const UChar*>(utf16[b].data()),
                                                 static_cast<int32_t>(utf16[b].size())));
        },
        checksum);

    const double sortStart = bench::Now();
    std::sort(values.begin(), values.end(),
              [](const CComVariant& a, const CComVariant& b) { return a < b; });
    const double sortMs = (bench::Now() - sortStart) * 1e3;
    ucol_close(icu);

    std::printf("texts: %zu, comparisons per measure: %zu (checksum %ld)\n", n, n * kRounds,
                checksum);
    std::printf("VarCmp (ASCII shortcut)        %8.1f ns\n", varCmp);
    std::printf("layer's ASCII shortcut         %8.1f ns\n", layerShortcut);
    std::printf("layer through ICU (UTF-32->16) %8.1f ns\n", layerIcu);
    std::printf("ICU on ready UTF-16 texts      %8.1f ns\n", rawIcu);
    std::printf("ratio VarCmp / ICU on UTF-16   %8.2f\n", varCmp / rawIcu);
    std::printf("sorting %zu CComVariant texts with <: %.2f ms\n", n, sortMs);
    return 0;
}
