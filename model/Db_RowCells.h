// Internal: how a row keeps its cells, and how a container keeps its rows.
//
// A cell is a value, its null flag and its position: its parent is its row,
// and its change stamp is kept in the block of cells it stands in, so a
// cell takes two words beside its variant. The cells made with a row stand
// in one block, in field order; a container makes each row and its block in
// one piece of its row memory, which it gives back in large pieces. Only what
// few cells need (a cell added by a new field, a cell with children or links
// of its own) costs more, and only for those cells.
#pragma once

#include <korvan/model.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <unordered_map>
#include <vector>

namespace korvan {

// A block of cells of one row; the cells follow it in memory.
struct CellBlock {
    DbTableRow* row;
    LONG* stamps;    // one per cell; null while no cell of the block has one
    uint32_t count;  // cells made in the block
    bool separate;   // allocated on its own, not as part of the row's memory

    RowCell* Cells() { return reinterpret_cast<RowCell*>(this + 1); }
    static size_t Bytes(size_t cells);
};

// A cell of a row. Its slot in its block is m_index; its stamps are the
// block's and its own flags, until it needs links of its own (a child, a
// stamp copied onto it), which its row then keeps for it.
class RowCell final : public DbFieldValue {
  public:
    explicit RowCell(int slot) noexcept : DbFieldValue(LinkPlace::kCell, slot) {}
    ~RowCell() override;
    RowCell(const RowCell&) = delete;
    RowCell& operator=(const RowCell&) = delete;

    DbItem* GetParent() const override;
    bool IsChanged() const override;
    void SetChanged() override;
    void Sync() override;
    LONG GetChangeId() const override;
    // The position in the row, which is the slot until fields were added or
    // removed.
    int GetIndex() const override;

    CellBlock& Block() const {
        auto* first = const_cast<RowCell*>(this) - m_index;
        return *(reinterpret_cast<CellBlock*>(first) - 1);
    }
    DbTableRow& Row() const { return *Block().row; }
    bool HasLinks() const { return (m_cellState & kLinked) != 0; }
    // The stamps of a cell without links of its own.
    LONG Stamp() const {
        const CellBlock& block = Block();
        return block.stamps != nullptr ? block.stamps[m_index] : 0;
    }
    bool Dirty() const { return (m_cellState & kDirty) != 0; }
    void SetStamps(LONG changeId, bool dirty);
    void Clean() { m_cellState &= static_cast<uint8_t>(~kDirty); }

  private:
    static constexpr uint8_t kDirty = 1;
    static constexpr uint8_t kLinked = 2;

    korvan::ItemLinks* Links(bool make) const override;
    void CopyLinksInto(korvan::ItemLinks& copy) const override;
};

// What few rows need: the cells by position once they are no longer the
// row's own block in order, the blocks of cells added later, the cells
// SetFieldValuePtr replaced, and the links of cells that have their own.
struct RowExtras {
    bool mapped = false;
    std::vector<DbFieldValue*> byPosition;
    std::vector<CellBlock*> blocks;
    std::vector<DbFieldValue*> retired;
    std::unordered_map<const RowCell*, std::unique_ptr<ItemLinks>> links;
};

// The cells of rows, for the model's own code.
struct RowCells {
    static DbFieldValue& At(const DbTableRow& row, size_t i) {
        if (row.m_extras != nullptr && row.m_extras->mapped) {
            return *row.m_extras->byPosition[i];
        }
        return row.m_cells->Cells()[i];
    }
    static size_t Count(const DbTableRow& row) {
        if (row.m_extras != nullptr && row.m_extras->mapped) {
            return row.m_extras->byPosition.size();
        }
        return row.m_cells != nullptr ? row.m_cells->count : 0;
    }
    // A cell of the row's own blocks, with its stamps kept there.
    static RowCell* Plain(DbFieldValue& cell) {
        if (cell.m_linkPlace != LinkPlace::kCell) {
            return nullptr;
        }
        auto* own = static_cast<RowCell*>(&cell);
        return own->HasLinks() ? nullptr : own;
    }

    // The bytes a container gives a row with its own block of cells, which
    // starts CellsOffset() bytes into them.
    static size_t RowBytes(size_t cells);
    static size_t CellsOffset();
    // One cell per field of the row's descriptor, in space (RowBytes less the
    // row's own size) or, without space, in a block of their own; with
    // withDefaults the fields' default values, as plain copies.
    static void Create(DbTableRow& row, bool withDefaults, void* space);
    // Copies of other's cells (values, null flags and stamps) in a new block.
    static void CopyFrom(DbTableRow& row, const DbTableRow& other);
    static void Destroy(DbTableRow& row);
    // A new empty cell at position (nothing past the end), or the cell at
    // position removed (nothing at or past the end).
    static void Insert(DbTableRow& row, size_t position);
    static void Remove(DbTableRow& row, size_t position);
    // v takes the place of the cell at position; the row destroys both.
    static void Replace(DbTableRow& row, size_t position, DbFieldValue* v);
    static RowExtras& Extras(DbTableRow& row);

  private:
    static void Map(DbTableRow& row);
    static void DestroyCell(DbFieldValue* cell);
    static CellBlock* NewBlock(DbTableRow& row, size_t cells, void* space);
    static void FreeBlock(CellBlock* block);
};

// The memory of the rows a container makes: large pieces, each given back
// when its last row is gone, so that many rows cost few allocations and
// whole tables go at once.
class RowMemory {
  public:
    RowMemory() = default;
    RowMemory(const RowMemory&) = delete;
    RowMemory& operator=(const RowMemory&) = delete;
    ~RowMemory() { Clear(); }

    // Room for at least bytes more in one piece for the next requests.
    void Reserve(size_t bytes);
    void* Allocate(size_t bytes);
    // One allocation is gone.
    void Release(void* memory);
    // Every piece goes; nothing allocated here may be in use any more.
    void Clear();

  private:
    struct Piece {
        size_t size;
        size_t used;
        size_t live;
    };
    Piece* NewPiece(size_t bytes);

    std::map<char*, Piece> m_pieces;  // by start address
    char* m_current = nullptr;        // the piece new rows come from
    size_t m_lastSize = 0;
};

}  // namespace korvan
