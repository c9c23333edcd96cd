// The plain C face of the library (korvan/korvan_c.h): thin wrappers over
// DbDatabase and its query tables that turn every failure into a text.
#include <korvan/database.h>
#include <korvan/korvan_c.h>

#include <algorithm>
#include <cstring>
#include <exception>
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

struct korvan_database {
    std::unique_ptr<DbDatabase> db;
    std::string error;
};

struct korvan_result {
    std::vector<std::string> columns;
    // Row by row; no value for a null cell.
    std::vector<std::vector<std::optional<std::string>>> cells;
};

namespace {

// Runs fn; the message of whatever it throws, or "" when it throws nothing.
template <typename Fn>
std::string Failure(Fn&& fn) {
    try {
        fn();
        return std::string();
    } catch (DbException* e) {
        std::string message = e->Message().ToUtf8();
        e->Delete();
        return message;
    } catch (CException* e) {
        wchar_t text[512] = L"";
        e->GetErrorMessage(text, 512);
        e->Delete();
        return text[0] ? CString(text).ToUtf8() : std::string("the library failed");
    } catch (const CAtlException& e) {
        return "the library failed with error " + std::to_string(static_cast<long>(e.m_hr));
    } catch (const std::bad_alloc&) {
        return "out of memory";
    } catch (const std::exception& e) {
        return e.what();
    } catch (...) {
        return "unexpected failure";
    }
}

korvan_result* CopyAnswer(DbDatabase& db, const CString& name) {
    auto result = std::make_unique<korvan_result>();
    const DbTableDescr& descr = *db.GetTableDescr(name);
    for (size_t f = 0; f < descr.GetFieldCount(); ++f) {
        result->columns.push_back(descr.GetField(static_cast<int>(f)).GetName().ToUtf8());
    }
    DbTableData& data = *db.GetTableData(name);
    for (uint64_t r = 0; r < data.size(); ++r) {
        const DbTableRow& row = *data[r];
        auto& cells = result->cells.emplace_back();
        for (size_t f = 0; f < row.GetFieldCount(); ++f) {
            const DbFieldValue& cell = row[f];
            if (cell.IsNull()) {
                cells.emplace_back();
            } else {
                CString text;
                cell.ValueToString(text);
                cells.emplace_back(text.ToUtf8());
            }
        }
    }
    return result.release();
}

}  // namespace

korvan_database* korvan_open(const char* path, char* error, size_t error_size) {
    std::unique_ptr<korvan_database> handle;
    std::string message = Failure([&] {
        handle.reset(new korvan_database);
        handle->db = std::make_unique<DbDatabase>(CString(path ? path : ""));
        handle->db->GetTablesCount();  // reads the header and the table structure
    });
    if (message.empty()) {
        return handle.release();
    }
    if (error && error_size > 0) {
        const size_t length = std::min(message.size(), error_size - 1);
        std::memcpy(error, message.data(), length);
        error[length] = '\0';
    }
    return nullptr;
}

void korvan_close(korvan_database* db) {
    if (db && db->db) {
        // The C face never saves: what a query added is no change to keep.
        (void)Failure([&] { db->db->Sync(); });
    }
    delete db;
}

korvan_result* korvan_query(korvan_database* db, const char* sql) {
    if (!db) {
        return nullptr;
    }
    korvan_result* result = nullptr;
    db->error = Failure([&] {
        CString name;
        if (!db->db->Query(CString(sql ? sql : ""), name)) {
            // The message log says why, one line per problem.
            const std::string why = db->db->GetErrorLog().ToUtf8();
            std::vector<CString> handedOver;
            db->db->GetError(handedOver);
            throw std::runtime_error(why.empty() ? std::string("the query failed") : why);
        }
        result = CopyAnswer(*db->db, name);
    });
    return result;
}

const char* korvan_last_error(const korvan_database* db) {
    return db ? db->error.c_str() : "";
}

int korvan_result_columns(const korvan_result* result) {
    return result ? static_cast<int>(result->columns.size()) : 0;
}

long long korvan_result_rows(const korvan_result* result) {
    return result ? static_cast<long long>(result->cells.size()) : 0;
}

const char* korvan_result_column_name(const korvan_result* result, int column) {
    if (!result || column < 0 || static_cast<size_t>(column) >= result->columns.size()) {
        return nullptr;
    }
    return result->columns[static_cast<size_t>(column)].c_str();
}

const char* korvan_result_text(const korvan_result* result, long long row, int column) {
    if (!result || row < 0 || static_cast<unsigned long long>(row) >= result->cells.size() ||
        column < 0) {
        return nullptr;
    }
    const auto& cells = result->cells[static_cast<size_t>(row)];
    if (static_cast<size_t>(column) >= cells.size() || !cells[static_cast<size_t>(column)]) {
        return nullptr;
    }
    return cells[static_cast<size_t>(column)]->c_str();
}

void korvan_result_free(korvan_result* result) {
    delete result;
}
