// DbRecordset::ExportCVS: the whole table as "| "-separated text lines.
#include <korvan/recordset.h>

#include "platform/files.h"

namespace {

// Line feeds inside a value would start a new line of the export.
CString ValueText(const DbFieldValue& cell) {
    CComVariant text;
    if (FAILED(VariantChangeType(&text, &cell.GetValue(), 0, VT_BSTR)) || text.bstrVal == nullptr) {
        return CString();
    }
    CString value(text.bstrVal);
    value.Replace(L'\n', L' ');
    return value;
}

void AppendLine(std::wstring& text, const std::vector<CString>& values) {
    for (size_t i = 0; i < values.size(); ++i) {
        text += values[i].str();
        text += i + 1 < values.size() ? L"| " : L"\n";
    }
}

}  // namespace

void DbRecordset::ExportCVS(CString path) {
    // The file is replaced only once the whole text is written.
    korvan::AtomicFile file;
    if (!file.Open(path)) {
        return;
    }
    std::wstring text;
    if (IsOpen()) {
        std::vector<CString> values;
        for (size_t f = 0; f < m_tableDescr->GetFieldCount(); ++f) {
            values.push_back((*m_tableDescr)[f].GetName());
        }
        AppendLine(text, values);
        // Rows in the table's own order, whatever index is current.
        const uint64_t rows = m_tableData->size();
        for (uint64_t r = 0; r < rows; ++r) {
            const DbTableRow& row = *m_tableData->GetRow(static_cast<int>(r));
            values.clear();
            for (size_t c = 0; c < row.GetFieldCount(); ++c) {
                values.push_back(ValueText(row.GetField(c)));
            }
            AppendLine(text, values);
        }
    }
    // As many bytes as the text has UTF-16 characters: the first half of its
    // UTF-16LE encoding, as the export has always been written.
    const std::vector<BYTE> utf16 = korvan::EncodeUtf16LE(text);
    if (file.Write(utf16.data(), utf16.size() / 2)) {
        static_cast<void>(file.Commit());
    }
}
