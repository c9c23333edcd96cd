// Internal: a sequence of row numbers with fast access and insertion by
// position, for building ORDER BY answers by binary insertion.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace korvan {

// The values live in blocks of bounded size; a Fenwick tree over the block
// sizes finds the block of a position in O(log n). Insertion moves at most
// one block's values, so n insertions cost O(n log n) lookups plus O(n) block
// moves instead of the O(n^2) element moves of one flat vector.
class PositionList {
  public:
    size_t size() const { return m_size; }
    // REQUIRES: pos < size().
    uint64_t at(size_t pos) const;
    // REQUIRES: pos <= size().
    void insert(size_t pos, uint64_t value);
    std::vector<uint64_t> ToVector() const;

  private:
    static constexpr size_t kMaxBlock = 1024;

    // The block holding pos, with pos made relative to that block.
    size_t Locate(size_t& pos) const;
    void RebuildTree();

    size_t m_size = 0;
    std::vector<std::vector<uint64_t>> m_blocks;
    std::vector<size_t> m_tree;  // Fenwick tree of block sizes, 1-based
};

}  // namespace korvan
