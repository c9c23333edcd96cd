// DbRows: the rows of a table or a query answer, as positions into a row
// store that is the container's own or, once bound, another container's.
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
    : DbItem(parent),
      m_descr(descr),
      m_store(nullptr),
      m_boundTo(nullptr),
      m_ownStore(new std::vector<DbTableRow*>()) {
    m_store = m_ownStore;
}

DbRows::DbRows(const DbRows& other)
    : DbItem(other),
      m_descr(other.m_descr),
      m_order(other.m_order),
      m_store(nullptr),
      m_boundTo(other.m_boundTo),
      m_ownStore(new std::vector<DbTableRow*>()) {
    // The item copy listed other's children; this copy's are its own rows.
    ReleaseChildren();
    try {
        CopyOwnRows(other);
    } catch (...) {
        DestroyOwnRows();
        delete m_ownStore;
        throw;
    }
    m_store = m_boundTo ? other.m_store : m_ownStore;
}

DbRows& DbRows::operator=(const DbRows& other) {
    if (this != &other) {
        DestroyOwnRows();
        CopyStamps(*this, other);
        m_descr = other.m_descr;
        m_order = other.m_order;
        m_boundTo = other.m_boundTo;
        m_store = m_boundTo ? other.m_store : m_ownStore;
        CopyOwnRows(other);
    }
    return *this;
}

DbRows::~DbRows() {
    // A source's store belongs to the source.
    DestroyOwnRows();
    delete m_ownStore;
}

void DbRows::CopyOwnRows(const DbRows& other) {
    ReserveChildren(other.m_ownStore->size());
    m_ownStore->reserve(other.m_ownStore->size());
    for (const DbTableRow* row : *other.m_ownStore) {
        m_ownStore->push_back(new DbTableRow(this));
        *m_ownStore->back() = *row;
    }
}

void DbRows::DestroyOwnRows() {
    // The rows go all at once: forgetting them first keeps each removal from
    // the child list immediate. Rows added through this container while it
    // is bound stand in the source's store and are the source's children.
    ReleaseChildren();
    for (DbTableRow* row : *m_ownStore) {
        delete row;
    }
    m_ownStore->clear();
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
            // Not the column's default: a new cell is not null and empty.
            cells.insert(at, new DbFieldValue(row, static_cast<int>(field)));
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
    // The own store is no longer shown. Rows it might hold are not destroyed:
    // they stay this container's children, and the destructor destroys them
    // with the store, which containers bound to this one may still show.
    m_boundTo = source;
    m_store = source->m_store;
    m_order.insert(m_order.begin(), order.begin(), order.end());
}

DbTableRow* DbRows::GetLastRow() const {
    return m_order.empty() ? nullptr : (*m_store)[m_order.back()];
}
