// The answers of a table about its changes (the newest stamp, whether it
// changed since its last synchronisation) after long random sequences of
// edits, held against a model of every stamp kept by the test itself.
#include <korvan/database.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

namespace {

// The stamp the last SetChanged anywhere gave: a fresh item without
// children knows only its own.
LONG LastStamp() {
    DbItem probe;
    probe.SetChanged();
    return probe.GetChangeId() - 1;
}

struct Stamp {
    LONG id = 0;
    bool changed = false;

    void Set() { *this = {LastStamp(), true}; }
};

struct RowModel {
    Stamp own;
    std::vector<Stamp> cells;
};

// Every stamp below a table data, as the test set them.
struct TableModel {
    Stamp data;
    Stamp rows;
    std::vector<RowModel> list;

    LONG Newest(const RowModel& row) const {
        LONG newest = row.own.id;
        for (const Stamp& cell : row.cells) {
            newest = std::max(newest, cell.id);
        }
        return newest;
    }
    bool Changed(const RowModel& row) const {
        return row.own.changed || std::any_of(row.cells.begin(), row.cells.end(),
                                              [](const Stamp& s) { return s.changed; });
    }
    LONG Newest() const {
        LONG newest = std::max(data.id, rows.id);
        for (const RowModel& row : list) {
            newest = std::max(newest, Newest(row));
        }
        return newest;
    }
    bool Changed() const {
        return data.changed || rows.changed ||
               std::any_of(list.begin(), list.end(), [&](const RowModel& r) { return Changed(r); });
    }
    void Sync(RowModel& row) {
        row.own.changed = false;
        for (Stamp& cell : row.cells) {
            cell.changed = false;
        }
    }
};

class ChangeAnswers : public ::testing::TestWithParam<unsigned> {
  protected:
    void SetUp() override {
        db.Create(L"");
        DbTableInfo* info = db.CreateTable(L"parts", DbTableInfo::TABLE);
        ASSERT_NE(info, nullptr);
        descr = info->descr;
        data = info->data;
        descr->CreateField(L"f0", false, DbFieldDescr::ftLong);
        descr->CreateField(L"f1", false, DbFieldDescr::ftText);
        fields = 2;
    }

    size_t Pick(size_t count) {
        return std::uniform_int_distribution<size_t>(0, count - 1)(random);
    }

    DbTableRow& Row(size_t r) { return *data->GetRow(static_cast<int>(r)); }

    // One random edit, applied to the table and to the model.
    void Edit(int step) {
        const size_t count = model.list.size();
        switch (Pick(13)) {
            case 0:
            case 1:
                if (count > 0) {
                    const size_t r = Pick(count);
                    const size_t f = Pick(fields);
                    Row(r)[f].SetValue(CComVariant(step));
                    model.list[r].cells[f].Set();
                }
                break;
            case 2:
                if (count > 0) {
                    const size_t r = Pick(count);
                    Row(r).SetChanged();
                    model.list[r].own.Set();
                }
                break;
            case 3:
                data->GetRows()->SetChanged();
                model.rows.Set();
                break;
            case 4:
                data->SetChanged();
                model.data.Set();
                break;
            case 5:
                if (count > 0) {
                    const size_t r = Pick(count);
                    const size_t f = Pick(fields);
                    Row(r)[f].Sync();
                    model.list[r].cells[f].changed = false;
                }
                break;
            case 6:
                if (count > 0) {
                    const size_t r = Pick(count);
                    Row(r).Sync();
                    model.Sync(model.list[r]);
                }
                break;
            case 7:
                data->Sync();
                model.data.changed = model.rows.changed = false;
                for (RowModel& row : model.list) {
                    model.Sync(row);
                }
                break;
            case 8: {
                const size_t added = 1 + Pick(3);
                data->AddRows(added);
                model.data.Set();
                model.list.resize(count + added, RowModel{{}, std::vector<Stamp>(fields)});
                break;
            }
            case 9:
                if (count > 0) {
                    const size_t r = Pick(count);
                    data->DeleteRow(r);
                    model.data.Set();
                    model.list.erase(model.list.begin() + static_cast<std::ptrdiff_t>(r));
                }
                break;
            case 10:
                if (fields < 5 || Pick(2) == 0) {
                    descr->CreateField(CString(L"g") + CString(std::to_wstring(step)), false,
                                       DbFieldDescr::ftDouble);
                    for (RowModel& row : model.list) {
                        row.cells.emplace_back();
                    }
                    ++fields;
                } else {
                    const size_t f = Pick(fields);
                    descr->DeleteField(static_cast<int>(f));
                    for (RowModel& row : model.list) {
                        row.cells.erase(row.cells.begin() + static_cast<std::ptrdiff_t>(f));
                    }
                    --fields;
                }
                break;
            case 11:
                if (count > 1) {
                    const size_t to = Pick(count);
                    const size_t from = Pick(count);
                    Row(to) = Row(from);
                    model.list[to] = model.list[from];
                }
                break;
            default:
                if (count > 0) {
                    // A copy is nobody's child: what happens to it is not
                    // the table's change, and neither is a value written
                    // into a cell directly.
                    const size_t r = Pick(count);
                    DbTableRow copy(Row(r));
                    EXPECT_EQ(copy.GetChangeId(), model.Newest(model.list[r]));
                    EXPECT_EQ(copy.IsChanged(), model.Changed(model.list[r]));
                    copy[Pick(fields)].SetValue(CComVariant(L"copy"));
                    copy.SetChanged();
                    Row(Pick(count))[Pick(fields)].GetVariant() = CComVariant(step);
                }
                break;
        }
    }

    DbDatabase db;
    DbTableDescr* descr = nullptr;
    DbTableData* data = nullptr;
    size_t fields = 0;
    TableModel model;
    std::mt19937 random{GetParam()};
};

TEST_P(ChangeAnswers, FollowEveryEdit) {
    for (int step = 0; step < 1500; ++step) {
        Edit(step);
        ASSERT_EQ(data->GetChangeId(), model.Newest()) << "after step " << step;
        ASSERT_EQ(data->IsChanged(), model.Changed()) << "after step " << step;
        if (!model.list.empty()) {
            const size_t r = Pick(model.list.size());
            ASSERT_EQ(Row(r).GetChangeId(), model.Newest(model.list[r])) << "after step " << step;
            ASSERT_EQ(Row(r).IsChanged(), model.Changed(model.list[r])) << "after step " << step;
        }
    }
    db.Sync();
}

INSTANTIATE_TEST_SUITE_P(Seeds, ChangeAnswers, ::testing::Values(1u, 2u, 3u));

}  // namespace
