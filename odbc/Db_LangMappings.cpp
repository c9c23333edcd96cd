// LangMappings: the fixed table of languages and the names their material is
// found under, and text conversion under the active language.
#include <korvan/model.h>
#include <korvan/odbc.h>

#include "platform/character_locale.h"

namespace {

struct Language {
    const wchar_t* key;
    std::vector<const wchar_t*> names;  // the language number, then description columns
};

const Language kLanguages[] = {
    {L"english", {L"001", L"desc_01", L"desc001"}},
    {L"french", {L"033", L"Desc033", L"desc033", L"desc_33"}},
    {L"spanish", {L"034", L"Desc034", L"desc034", L"desc_34"}},
    {L"portuguese", {L"035", L"desc_35", L"desc035"}},
    {L"italian", {L"039", L"Desc_39", L"desc039"}},
    {L"romanian", {L"040", L"Desc_40", L"desc040"}},
    {L"polish", {L"048", L"desc_48", L"Desc048"}},
    {L"russian", {L"070", L"desc_70", L"desc070", L"Desc070"}},
};

// Built when the library is loaded, as the table is.
const LangMappings kMappings;

std::vector<const LangMappings::Entry*>& ActiveStack() {
    static std::vector<const LangMappings::Entry*> stack;
    return stack;
}

}  // namespace

LangMappings::LangMappings() {
    m_default.key = L"C";
    for (const Language& language : kLanguages) {
        Entry entry;
        entry.key = language.key;
        for (const wchar_t* name : language.names) {
            entry.names.push_back(CString(name).MakeLower());
        }
        m_languages.push_back(std::move(entry));
    }
}

LangMappings::~LangMappings() = default;

const LangMappings& LangMappings::Instance() {
    return kMappings;
}

const LangMappings::Entry* LangMappings::Find(const wchar_t* key) const {
    for (const Entry& entry : m_languages) {
        if (entry.key == key) {
            return &entry;
        }
    }
    return nullptr;
}

const LangMappings::Entry* LangMappings::FindByName(const wchar_t* name) const {
    const CString lower = CString(name).MakeLower();
    for (const Entry& entry : m_languages) {
        for (const CString& candidate : entry.names) {
            if (candidate == lower) {
                return &entry;
            }
        }
    }
    return nullptr;
}

void LangMappings::Push(const Entry& entry) {
    ActiveStack().push_back(&entry);
}

void LangMappings::Pop() {
    if (!ActiveStack().empty()) {
        ActiveStack().pop_back();
    }
}

const LangMappings::Entry& LangMappings::Active() {
    return ActiveStack().empty() ? Instance().GetDefault() : *ActiveStack().back();
}

BSTR LangMappings::Convert(const wchar_t* text) {
    korvan::SetCharacterTypeLocale(Active().key);
    BSTR converted = SysAllocString(text);
    korvan::SetCharacterTypeLocale(L"C");
    return converted;
}
