// Table model at an ordinary size: 100,000 rows of 12 fields built, written
// to XML, read back, walked and torn down, each against a reference doing the
// same work on a flat vector of variants; then the same at a quarter and at
// half the size, to show that every step grows linearly.
#include <korvan/model.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace {

constexpr int kFields = 12;

double Seconds() {
    return korvan::MonotonicSeconds();
}

std::unique_ptr<DbTableDescr> MakeDescriptor() {
    auto descr = std::make_unique<DbTableDescr>(nullptr);
    const DbFieldDescr::eFieldType types[] = {DbFieldDescr::ftText, DbFieldDescr::ftLong,
                                              DbFieldDescr::ftDouble};
    for (int f = 0; f < kFields; ++f) {
        descr->CreateField(StringBuilder(L"field %d", f), false, types[f % 3]);
    }
    return descr;
}

CComVariant ValueOf(int row, int field) {
    switch (field % 3) {
        case 0:
            return CComVariant(StringBuilder(L"designation %d", row));
        case 1:
            return CComVariant(row * kFields + field);
        default:
            return CComVariant(row * 0.25 + field);
    }
}

struct Figures {
    double build = 0, save = 0, load = 0, walk = 0, destroy = 0;
};

Figures RunModel(int rows) {
    Figures f;
    auto descr = MakeDescriptor();
    double t = Seconds();
    auto data = std::make_unique<DbTableData>(nullptr, descr.get());
    data->AddRows(static_cast<uint64_t>(rows));
    for (int r = 0; r < rows; ++r) {
        DbTableRow& row = *data->GetRow(r);
        for (int c = 0; c < kFields; ++c) {
            row[static_cast<uint64_t>(c)].GetVariant() = ValueOf(r, c);
        }
    }
    f.build = Seconds() - t;

    pugi::xml_document doc;
    pugi::xml_node table = doc.append_child("table");
    t = Seconds();
    data->Save(doc, table);
    f.save = Seconds() - t;

    auto copy = std::make_unique<DbTableData>(nullptr, descr.get());
    t = Seconds();
    copy->Load(table);
    f.load = Seconds() - t;

    t = Seconds();
    volatile bool changed = copy->IsChanged();
    volatile uint64_t size = copy->CalcSize() + static_cast<uint64_t>(copy->GetChangeId());
    (void)changed;
    (void)size;
    f.walk = Seconds() - t;

    t = Seconds();
    data.reset();
    copy.reset();
    f.destroy = Seconds() - t;
    return f;
}

// The same work on a plain vector of variants, converted the same way.
Figures RunReference(int rows) {
    Figures f;
    double t = Seconds();
    auto data = std::make_unique<std::vector<std::vector<CComVariant>>>(
        static_cast<size_t>(rows), std::vector<CComVariant>(kFields));
    for (int r = 0; r < rows; ++r) {
        for (int c = 0; c < kFields; ++c) {
            (*data)[static_cast<size_t>(r)][static_cast<size_t>(c)] = ValueOf(r, c);
        }
    }
    f.build = Seconds() - t;

    std::vector<std::string> names;
    for (int c = 0; c < kFields; ++c) {
        names.push_back("field_" + std::to_string(c));
    }
    pugi::xml_document doc;
    pugi::xml_node table = doc.append_child("table");
    t = Seconds();
    for (const auto& row : *data) {
        pugi::xml_node element = table.append_child("row");
        for (int c = 0; c < kFields; ++c) {
            CComVariant text;
            VariantChangeType(&text, &row[static_cast<size_t>(c)], 0, VT_BSTR);
            element.append_attribute(names[static_cast<size_t>(c)].c_str())
                .set_value(korvan::EncodeUtf8(text.bstrVal).c_str());
        }
    }
    f.save = Seconds() - t;

    const VARTYPE types[] = {VT_BSTR, VT_I4, VT_R8};
    auto copy = std::make_unique<std::vector<std::vector<CComVariant>>>();
    copy->reserve(static_cast<size_t>(rows));
    t = Seconds();
    std::wstring text;
    for (const pugi::xml_node element : table.children()) {
        std::vector<CComVariant>& row = copy->emplace_back(kFields);
        size_t c = 0;
        for (const pugi::xml_attribute a : element.attributes()) {
            korvan::DecodeUtf8(a.value(), text);
            row[c] = text.c_str();
            VariantChangeType(&row[c], &row[c], 0, types[c % 3]);
            ++c;
        }
    }
    f.load = Seconds() - t;

    t = Seconds();
    data.reset();
    copy.reset();
    f.destroy = Seconds() - t;
    return f;
}

void Print(const char* step, double model, double reference) {
    std::printf("  %-8s %8.3f s  reference %8.3f s  ratio %5.2f\n", step, model, reference,
                reference > 0 ? model / reference : 0.0);
}

}  // namespace

int main() {
    for (const int rows : {25000, 50000, 100000}) {
        const Figures model = RunModel(rows);
        const Figures reference = RunReference(rows);
        std::printf("%d rows x %d fields\n", rows, kFields);
        Print("build", model.build, reference.build);
        Print("save", model.save, reference.save);
        Print("load", model.load, reference.load);
        Print("destroy", model.destroy, reference.destroy);
        std::printf("  %-8s %8.3f s  (IsChanged, CalcSize, GetChangeId)\n", "walk", model.walk);
        std::printf("  per row: build %.2f us, load %.2f us\n", model.build / rows * 1e6,
                    model.load / rows * 1e6);
    }
    return 0;
}
