// The text order of LOCALE_USER_DEFAULT: the system's own, the one VarCmp
// uses.
#include "platform/collation.h"

#include <korvan/platform.h>

namespace korvan {
namespace {

class SystemCollator final : public TextCollator {
  public:
    int Compare(std::wstring_view left, std::wstring_view right, bool ignoreCase) override {
        const int result = CompareStringW(LOCALE_USER_DEFAULT, ignoreCase ? NORM_IGNORECASE : 0,
                                          left.data(), static_cast<int>(left.size()), right.data(),
                                          static_cast<int>(right.size()));
        return result == 0 ? 0 : result - CSTR_EQUAL;
    }

    std::string SortKey(std::wstring_view text) override {
        if (text.empty()) {
            return std::string();
        }
        const int length = static_cast<int>(text.size());
        const int size =
            LCMapStringW(LOCALE_USER_DEFAULT, LCMAP_SORTKEY, text.data(), length, nullptr, 0);
        std::string key(static_cast<size_t>(size > 0 ? size : 0), '\0');
        if (size > 0) {
            // LCMAP_SORTKEY writes bytes into what the interface calls a wide
            // buffer.
            LCMapStringW(LOCALE_USER_DEFAULT, LCMAP_SORTKEY, text.data(), length,
                         reinterpret_cast<wchar_t*>(key.data()), size);
        }
        return key;
    }
};

}  // namespace

TextCollator* TextCollator::Current() {
    static SystemCollator collator;
    return &collator;
}

}  // namespace korvan
