#include <korvan/model.h>

#include <algorithm>

namespace {

// Makes room for count more entries in one step, growing geometrically so
// that many small additions stay linear overall.
template <typename T>
void Grow(std::vector<T>& list, uint64_t count) {
    const size_t needed = list.size() + static_cast<size_t>(count);
    if (needed > list.capacity()) {
        list.reserve(std::max(needed, list.capacity() * 2));
    }
}

// Removes the first entry equal to position and closes the gap in the
// numbering of the entries after it.
void RemovePosition(std::vector<uint64_t>& order, uint64_t position) {
    const auto it = std::find(order.begin(), order.end(), position);
    if (it != order.end()) {
        order.erase(it);
    }
    for (uint64_t& entry : order) {
        if (entry > position) {
            --entry;
        }
    }
}

}  // namespace

DbRows::DbRows(DbItem* parent, DbTableDescr* descr)
    : DbItem(parent), m_descr(descr), m_store(new std::vector<DbTableRow*>()), m_boundTo(nullptr) {}

DbRows::~DbRows() {
    if (m_boundTo) {
        return;  // the store belongs to the source
    }
    // The rows go all at once: forgetting them first keeps each removal
    // from the child list immediate.
    ReleaseChildren();
    for (DbTableRow* row : *m_store) {
        delete row;
    }
    delete m_store;
}

DbTableRow* DbRows::NewRow(bool withDefaults) {
    auto* row = new DbTableRow(m_boundTo ? static_cast<DbItem*>(m_boundTo) : this);
    row->SetTableDescr(m_descr);
    row->CreateCells(withDefaults);
    return row;
}

uint64_t DbRows::AddRow(bool withDefaults) {
    return AddRows(1, withDefaults);
}

uint64_t DbRows::AddRows(uint64_t count, bool withDefaults) {
    const uint64_t first = m_order.size();
    Grow(*m_store, count);
    Grow(m_order, count);
    if (m_boundTo) {
        Grow(m_boundTo->m_order, count);
    }
    for (uint64_t i = 0; i < count; ++i) {
        DbTableRow* row = NewRow(withDefaults);
        const uint64_t position = m_store->size();
        m_order.push_back(position);
        if (m_boundTo) {
            m_boundTo->m_order.push_back(position);
        }
        m_store->push_back(row);
    }
    return first;
}

void DbRows::DeleteRow(uint64_t i) {
    if (i >= m_order.size()) {
        return;
    }
    const auto slot = m_store->begin() + static_cast<std::ptrdiff_t>(m_order[i]);
    delete *slot;
    m_store->erase(slot);
    // Deliberately the argument, not the store position: the two are the
    // same for a table's own container, whose order is the identity.
    RemovePosition(m_order, i);
    if (m_boundTo) {
        RemovePosition(m_boundTo->m_order, i);
    }
}

void DbRows::Update(uint64_t field, bool insert) {
    for (const uint64_t position : m_order) {
        DbTableRow* row = (*m_store)[position];
        std::vector<DbFieldValue*>& cells = row->m_fields;
        if (field > cells.size() || (!insert && field == cells.size())) {
            continue;
        }
        const auto at = cells.begin() + static_cast<std::ptrdiff_t>(field);
        if (insert) {
            auto* cell = new DbFieldValue(row, static_cast<int>(field));
            // The new cell starts with the column's default, so that it has
            // the column's type.
            if (m_descr && field < m_descr->GetFieldCount()) {
                cell->m_value = m_descr->GetField(static_cast<int>(field)).GetValue();
            }
            cells.insert(at, cell);
        } else {
            row->DestroyCell(*at);
            cells.erase(at);
        }
        for (size_t later = field + (insert ? 1 : 0); later < cells.size(); ++later) {
            cells[later]->m_index = static_cast<int>(later);
        }
    }
}

void DbRows::Bind(DbRows* source, std::vector<uint64_t>& order) {
    if (!source || source == this) {
        return;
    }
    if (!m_boundTo) {
        ReleaseChildren();
        for (DbTableRow* row : *m_store) {
            delete row;
        }
        delete m_store;
    }
    m_boundTo = source;
    m_store = source->m_store;
    m_order.insert(m_order.begin(), order.begin(), order.end());
}

DbTableRow* DbRows::GetLastRow() const {
    return m_order.empty() ? nullptr : (*m_store)[m_order.back()];
}
