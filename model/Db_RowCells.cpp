// The cells of rows in blocks with their stamps, and the memory a container
// makes its rows in.
#include "model/Db_RowCells.h"

#include "platform/variant_plain.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace korvan {
namespace {

constexpr size_t kAlign = alignof(void*);
static_assert(alignof(DbTableRow) <= kAlign && alignof(RowCell) <= kAlign);

constexpr size_t RoundUp(size_t bytes, size_t to) {
    return (bytes + to - 1) / to * to;
}

// A cell is its variant and two words: its table pointer, its flags, null
// flag and slot.
static_assert(sizeof(RowCell) == sizeof(DbFieldValue));
static_assert(sizeof(DbFieldValue) == 2 * sizeof(void*) + sizeof(VARIANT));
static_assert(sizeof(CellBlock) % alignof(RowCell) == 0);

}  // namespace

size_t CellBlock::Bytes(size_t cells) {
    return sizeof(CellBlock) + cells * sizeof(RowCell);
}

// ---------------------------------------------------------------------------
// RowCell

RowCell::~RowCell() {
    if (HasLinks()) {
        Row().m_extras->links.erase(this);
    }
}

DbItem* RowCell::GetParent() const {
    return HasLinks() ? DbItem::GetParent() : &Row();
}

bool RowCell::IsChanged() const {
    return HasLinks() ? DbItem::IsChanged() : Dirty();
}

LONG RowCell::GetChangeId() const {
    return HasLinks() ? DbItem::GetChangeId() : Stamp();
}

void RowCell::SetChanged() {
    if (HasLinks()) {
        DbItem::SetChanged();
        return;
    }
    const LONG stamp = NextStamp();
    SetStamps(stamp, true);
    Stamped(Row().m_links, stamp);
}

void RowCell::Sync() {
    if (HasLinks()) {
        DbItem::Sync();
        return;
    }
    Clean();
    ChangedUnknownFrom(&Row().m_links);
}

int RowCell::GetIndex() const {
    const RowExtras* extras = Row().m_extras;
    if (extras == nullptr || !extras->mapped) {
        return m_index;
    }
    const auto& cells = extras->byPosition;
    const auto at = std::find(cells.begin(), cells.end(), this);
    return at == cells.end() ? -1 : static_cast<int>(at - cells.begin());
}

void RowCell::SetStamps(LONG changeId, bool dirty) {
    CellBlock& block = Block();
    if (block.stamps == nullptr && changeId != 0) {
        block.stamps = new LONG[block.count]();
    }
    if (block.stamps != nullptr) {
        block.stamps[m_index] = changeId;
    }
    m_cellState = static_cast<uint8_t>(dirty ? m_cellState | kDirty : m_cellState & ~kDirty);
}

ItemLinks* RowCell::Links(bool make) const {
    DbTableRow& row = Row();
    if (HasLinks()) {
        return row.m_extras->links.at(this).get();
    }
    if (!make) {
        return nullptr;
    }
    // From now on the cell keeps its stamps in links of its own. It stays
    // among its row's cells, which is where it reports.
    auto* self = const_cast<RowCell*>(this);
    auto links = std::make_unique<ItemLinks>(self, nullptr);
    links->parent = &row;
    links->registered = true;
    links->changeId = Stamp();
    links->syncId = Dirty() ? links->changeId - 1 : links->changeId;
    links->newest = links->changeId;
    links->changed = Dirty();
    ItemLinks* kept = links.get();
    RowCells::Extras(row).links.emplace(this, std::move(links));
    self->m_cellState |= kLinked;
    return kept;
}

void RowCell::CopyLinksInto(ItemLinks& copy) const {
    if (HasLinks()) {
        DbItem::CopyLinksInto(copy);
        return;
    }
    copy.parent = &Row();
    copy.changeId = Stamp();
    copy.syncId = Dirty() ? copy.changeId - 1 : copy.changeId;
    copy.registered = false;
    copy.newestKnown = copy.changedKnown = false;
}

// ---------------------------------------------------------------------------
// RowCells

size_t RowCells::CellsOffset() {
    return RoundUp(sizeof(DbTableRow), alignof(CellBlock));
}

size_t RowCells::RowBytes(size_t cells) {
    return RoundUp(CellsOffset() + (cells > 0 ? CellBlock::Bytes(cells) : 0), kAlign);
}

RowExtras& RowCells::Extras(DbTableRow& row) {
    if (row.m_extras == nullptr) {
        row.m_extras = new RowExtras();
    }
    return *row.m_extras;
}

CellBlock* RowCells::NewBlock(DbTableRow& row, size_t cells, void* space) {
    void* memory = space != nullptr ? space : ::operator new(CellBlock::Bytes(cells));
    auto* block = new (memory) CellBlock{&row, nullptr, static_cast<uint32_t>(cells), !space};
    RowCell* first = block->Cells();
    for (size_t i = 0; i < cells; ++i) {
        new (first + i) RowCell(static_cast<int>(i));
    }
    return block;
}

void RowCells::FreeBlock(CellBlock* block) {
    delete[] block->stamps;
    if (block->separate) {
        ::operator delete(block);
    }
}

void RowCells::Create(DbTableRow& row, bool withDefaults, void* space) {
    const DbTableDescr* descr = row.m_descr;
    const size_t count = descr != nullptr ? descr->GetFieldCount() : 0;
    if (count == 0) {
        return;
    }
    row.m_cells = NewBlock(row, count, space);
    if (withDefaults) {
        RowCell* cells = row.m_cells->Cells();
        for (size_t i = 0; i < count; ++i) {
            // A plain copy: the new cells do not count as changed.
            const CComVariant& value = descr->GetField(static_cast<int>(i)).GetValue();
            if (IsPlainVarType(value.vt)) {
                static_cast<VARIANT&>(cells[i].GetVariant()) = value;
            } else {
                cells[i].GetVariant() = value;
            }
        }
    }
}

void RowCells::CopyFrom(DbTableRow& row, const DbTableRow& other) {
    const size_t count = Count(other);
    if (count == 0) {
        return;
    }
    row.m_cells = NewBlock(row, count, nullptr);
    RowCell* cells = row.m_cells->Cells();
    for (size_t i = 0; i < count; ++i) {
        const DbFieldValue& from = At(other, i);
        static_cast<DbFieldValue&>(cells[i]) = from;
        LONG changeId = 0;
        bool dirty = false;
        if (const RowCell* plain = Plain(const_cast<DbFieldValue&>(from))) {
            changeId = plain->Stamp();
            dirty = plain->Dirty();
        } else {
            ItemLinks stamps(nullptr, nullptr);
            from.CopyLinksInto(stamps);
            stamps.parent = nullptr;
            changeId = stamps.changeId;
            dirty = stamps.changeId > stamps.syncId;
        }
        cells[i].SetStamps(changeId, dirty);
    }
}

void RowCells::DestroyCell(DbFieldValue* cell) {
    if (cell->m_linkPlace == LinkPlace::kCell) {
        static_cast<RowCell*>(cell)->~RowCell();
    } else {
        delete cell;
    }
}

void RowCells::Destroy(DbTableRow& row) {
    RowExtras* extras = row.m_extras;
    if (extras != nullptr && extras->mapped) {
        for (DbFieldValue* cell : extras->byPosition) {
            DestroyCell(cell);
        }
    } else if (row.m_cells != nullptr) {
        RowCell* cells = row.m_cells->Cells();
        for (size_t i = 0; i < row.m_cells->count; ++i) {
            cells[i].~RowCell();
        }
    }
    if (extras != nullptr) {
        for (DbFieldValue* cell : extras->retired) {
            DestroyCell(cell);
        }
        for (CellBlock* block : extras->blocks) {
            FreeBlock(block);
        }
    }
    if (row.m_cells != nullptr) {
        FreeBlock(row.m_cells);
    }
    delete extras;
    row.m_cells = nullptr;
    row.m_extras = nullptr;
}

void RowCells::Map(DbTableRow& row) {
    RowExtras& extras = Extras(row);
    if (extras.mapped) {
        return;
    }
    const size_t count = row.m_cells != nullptr ? row.m_cells->count : 0;
    extras.byPosition.reserve(count + 1);
    for (size_t i = 0; i < count; ++i) {
        extras.byPosition.push_back(row.m_cells->Cells() + i);
    }
    extras.mapped = true;
}

void RowCells::Insert(DbTableRow& row, size_t position) {
    if (position > Count(row)) {
        return;
    }
    Map(row);
    RowExtras& extras = *row.m_extras;
    extras.blocks.reserve(extras.blocks.size() + 1);
    CellBlock* block = NewBlock(row, 1, nullptr);
    extras.blocks.push_back(block);
    extras.byPosition.insert(extras.byPosition.begin() + static_cast<std::ptrdiff_t>(position),
                             block->Cells());
}

void RowCells::Remove(DbTableRow& row, size_t position) {
    if (position >= Count(row)) {
        return;
    }
    Map(row);
    std::vector<DbFieldValue*>& cells = row.m_extras->byPosition;
    DbFieldValue* cell = cells[position];
    cells.erase(cells.begin() + static_cast<std::ptrdiff_t>(position));
    DestroyCell(cell);
    // Its stamp may have been the row's newest.
    DbItem::Restructured(&row.m_links);
}

void RowCells::Replace(DbTableRow& row, size_t position, DbFieldValue* v) {
    Map(row);
    RowExtras& extras = *row.m_extras;
    extras.retired.push_back(extras.byPosition[position]);
    extras.byPosition[position] = v;
    DbItem::Restructured(&row.m_links);
}

// ---------------------------------------------------------------------------
// RowMemory

RowMemory::Piece* RowMemory::NewPiece(size_t bytes) {
    // Pieces grow with the rows made one at a time, up to a megabyte.
    const size_t size =
        std::max(bytes, std::min<size_t>(std::max<size_t>(m_lastSize * 2, 4096), size_t(1) << 20));
    auto* start = static_cast<char*>(::operator new(size));
    m_lastSize = size;
    m_current = start;
    return &m_pieces.emplace(start, Piece{size, 0, 0}).first->second;
}

void RowMemory::Reserve(size_t bytes) {
    if (m_current != nullptr) {
        const Piece& piece = m_pieces.at(m_current);
        if (piece.size - piece.used >= bytes) {
            return;
        }
    }
    NewPiece(bytes);
}

void* RowMemory::Allocate(size_t bytes) {
    bytes = RoundUp(bytes, kAlign);
    Piece* piece = m_current != nullptr ? &m_pieces.at(m_current) : nullptr;
    if (piece == nullptr || piece->size - piece->used < bytes) {
        piece = NewPiece(bytes);
    }
    void* memory = m_current + piece->used;
    piece->used += bytes;
    ++piece->live;
    return memory;
}

void RowMemory::Release(void* memory) {
    auto it = m_pieces.upper_bound(static_cast<char*>(memory));
    --it;
    if (--it->second.live > 0) {
        return;
    }
    if (it->first == m_current) {
        it->second.used = 0;  // the piece in use starts over
        return;
    }
    ::operator delete(it->first);
    m_pieces.erase(it);
}

void RowMemory::Clear() {
    for (const auto& [start, piece] : m_pieces) {
        ::operator delete(start);
    }
    m_pieces.clear();
    m_current = nullptr;
}

}  // namespace korvan
