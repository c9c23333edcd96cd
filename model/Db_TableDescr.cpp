// DbTableDescr: a table's fields, indexes and filters, with the lookup of
// fields by name and the "field" elements of its structure.
#include <korvan/database.h>
#include <korvan/model.h>

#include "model/Db_NameKey.h"

#include <memory>

using korvan::NameKey;

DbTableDescr::DbIndex::DbIndex(const CString& name) : m_name(name) {}

DbTableDescr::DbIndex::DbIndex(const CString& name, const std::vector<CString>& fields)
    : m_name(name), m_fieldNames(fields) {}

DbTableDescr::DbIndex::DbIndex(const CString& name, const CString& field)
    : m_name(name), m_fieldNames{field} {}

void DbTableDescr::DbIndex::AddField(CString name) {
    m_fieldNames.push_back(std::move(name));
}

DbTableDescr::DbTableDescr(DbDatabase* db) : DbItem(db), m_database(db), m_nameMapDirty(true) {}

DbTableDescr::DbTableDescr(const DbTableDescr& other)
    : DbXmlSerializable(other), DbItem(other), m_database(other.m_database), m_nameMapDirty(true) {
    // The item copy listed other's fields; this copy's children are its own.
    ReleaseChildren();
    try {
        CopyParts(other);
    } catch (...) {
        DbTableDescr::Clear();
        throw;
    }
}

DbTableDescr& DbTableDescr::operator=(const DbTableDescr& other) {
    if (this != &other) {
        DbTableDescr::Clear();
        CopyStamps(*this, other);
        CopyParts(other);
    }
    return *this;
}

void DbTableDescr::CopyParts(const DbTableDescr& other) {
    ReserveChildren(other.m_fields.size());
    m_fields.reserve(other.m_fields.size());
    for (const DbFieldDescr* field : other.m_fields) {
        m_fields.push_back(new DbFieldDescr(this, field->GetIndex()));
        *m_fields.back() = *field;
        CopyStamps(*m_fields.back(), *field);
    }
    m_nameMapDirty = true;
    for (const auto& [key, index] : other.m_indexes) {
        m_indexes.emplace(key, new DbIndex(*index));
    }
    m_filters.reserve(other.m_filters.size());
    for (const DbFilter* filter : other.m_filters) {
        m_filters.push_back(new DbFilter(*filter));
    }
}

DbTableOwner* DbTableDescr::GetOwner() const {
    return m_database;
}

DbTableDescr::~DbTableDescr() {
    DbTableDescr::Clear();
}

bool DbTableDescr::Save(pugi::xml_document& doc, pugi::xml_node element) {
    for (DbFieldDescr* field : m_fields) {
        if (!field->Save(doc, element)) {
            return false;
        }
    }
    return true;
}

bool DbTableDescr::Load(pugi::xml_node element) {
    for (const pugi::xml_node child : element.children()) {
        if (child.type() != pugi::node_element) {
            continue;
        }
        auto field = std::make_unique<DbFieldDescr>(this, static_cast<int>(m_fields.size()));
        field->Load(child);
        m_fields.push_back(field.release());
    }
    m_nameMapDirty = true;
    return true;
}

DbTableDescr::DbIndex* DbTableDescr::CreateIndex(CString name) {
    auto index = std::make_unique<DbIndex>(name);
    if (!CreateIndex(name, index.get())) {
        return nullptr;
    }
    index.release();  // entered in the map, or destroyed as a duplicate
    return FindIndex(name);
}

bool DbTableDescr::CreateIndex(CString name, const std::vector<CString>& fields) {
    auto index = std::make_unique<DbIndex>(name, fields);
    if (!CreateIndex(name, index.get())) {
        return false;
    }
    index.release();
    return true;
}

bool DbTableDescr::CreateIndex(CString name, const CString& field) {
    auto index = std::make_unique<DbIndex>(name, field);
    if (!CreateIndex(name, index.get())) {
        return false;
    }
    index.release();
    return true;
}

bool DbTableDescr::CreateIndex(CString name, DbIndex* index) {
    if (name.IsEmpty() || !CheckIndexFields(index)) {
        return false;
    }
    const CString key = NameKey(name);
    if (m_indexes.count(key)) {
        // Deliberate: creating an existing index succeeds and keeps the first.
        delete index;
        return true;
    }
    m_indexes[key] = index;
    for (const CString& field : index->m_fieldNames) {
        index->m_fieldPositions.push_back(static_cast<uint64_t>(GetFieldIndex(field)));
    }
    return true;
}

bool DbTableDescr::DeleteIndex(CString name) {
    const auto it = m_indexes.find(NameKey(name));
    if (it == m_indexes.end()) {
        return false;
    }
    delete it->second;
    m_indexes.erase(it);
    return true;
}

void DbTableDescr::Clear() {
    // The fields go all at once: forgetting them first keeps each removal
    // from the child list immediate.
    ReleaseChildren();
    for (DbFieldDescr* field : m_fields) {
        delete field;
    }
    m_fields.clear();
    m_nameMapDirty = true;
    for (auto& [name, index] : m_indexes) {
        delete index;
    }
    m_indexes.clear();
    ClearFilters();
}

uint64_t DbTableDescr::GetSize() const {
    return DbItem::GetSize() + 9;
}

bool DbTableDescr::CreateField(const CString& name, bool key, DbFieldDescr::eFieldType type) {
    if (GetFieldIndex(name) != -1) {
        return false;
    }
    m_nameMapDirty = true;
    const size_t position = m_fields.size();
    auto* field = new DbFieldDescr(this, static_cast<int>(position));
    m_fields.push_back(field);
    field->SetName(name);
    field->SetKey(key);
    field->SetType(DbFieldDescr::FieldTypeToVariantType(type));
    SetChanged();
    if (DbTableOwner* owner = GetOwner()) {
        owner->Update(this, position, true);
    }
    return true;
}

bool DbTableDescr::CreateField(const DbFieldDescr& field) {
    return CreateField(field.GetName(), field.IsKey(), field.GetDbType());
}

bool DbTableDescr::DeleteField(int i) {
    if (i < 0 || static_cast<size_t>(i) >= m_fields.size()) {
        return false;
    }
    const auto position = static_cast<size_t>(i);
    delete m_fields[position];
    m_fields.erase(m_fields.begin() + i);
    for (size_t later = position; later < m_fields.size(); ++later) {
        m_fields[later]->m_index = static_cast<int>(later);
    }
    if (DbTableOwner* owner = GetOwner()) {
        owner->Update(this, position, false);
    }
    m_nameMapDirty = true;
    SetChanged();
    return true;
}

bool DbTableDescr::DeleteField(const CString& name) {
    return DeleteField(GetFieldIndex(name));
}

int DbTableDescr::GetFieldIndex(const CString& name) const {
    if (m_nameMapDirty) {
        RebuildNameMap();
    }
    const auto it = m_nameMap.find(NameKey(name));
    return it == m_nameMap.end() ? -1 : it->second;
}

bool DbTableDescr::IsField(CString name) const {
    return GetFieldIndex(name) != -1;
}

bool DbTableDescr::IsField(uint64_t i) const {
    return i < m_fields.size();
}

DbFieldDescr& DbTableDescr::GetField(const CString& name) {
    return *m_fields[static_cast<size_t>(GetFieldIndex(name))];
}

DbFieldDescr& DbTableDescr::GetField(int i) {
    return *m_fields[static_cast<size_t>(i)];
}

DbFieldDescr& DbTableDescr::GetField(int i) const {
    return *m_fields[static_cast<size_t>(i)];
}

DbFieldDescr& DbTableDescr::operator[](const CString& name) {
    return GetField(name);
}

DbFieldDescr& DbTableDescr::operator[](uint64_t i) {
    return *m_fields[i];
}

DbTableDescr::DbIndex* DbTableDescr::FindIndex(const CString& name) {
    const auto it = m_indexes.find(NameKey(name));
    return it == m_indexes.end() ? nullptr : it->second;
}

bool DbTableDescr::CheckIndexFields(const DbIndex* index) {
    if (!index) {
        return false;
    }
    bool all = true;
    for (const CString& field : index->m_fieldNames) {
        // Deliberately no early exit: every name is looked up.
        all = IsField(field) && all;
    }
    return all;
}

void DbTableDescr::RebuildNameMap() const {
    m_nameMap.clear();
    m_nameMap.reserve(m_fields.size());
    for (size_t i = 0; i < m_fields.size(); ++i) {
        // A name that occurs twice keeps its first position.
        m_nameMap.emplace(NameKey(m_fields[i]->GetName()), static_cast<int>(i));
    }
    m_nameMapDirty = false;
}
