#include "query/Db_PositionList.h"

#include <utility>

namespace korvan {

size_t PositionList::Locate(size_t& pos) const {
    const size_t count = m_blocks.size();
    size_t step = 1;
    while (step * 2 <= count) {
        step *= 2;
    }
    // Descend the tree: after the loop, block is the number of whole blocks
    // that lie before pos.
    size_t block = 0;
    for (; step > 0; step /= 2) {
        if (block + step <= count && m_tree[block + step] <= pos) {
            block += step;
            pos -= m_tree[block];
        }
    }
    return block;
}

uint64_t PositionList::at(size_t pos) const {
    const size_t block = Locate(pos);
    return m_blocks[block][pos];
}

void PositionList::insert(size_t pos, uint64_t value) {
    if (m_blocks.empty()) {
        m_blocks.emplace_back();
        RebuildTree();
    }
    size_t block = m_blocks.size() - 1;
    size_t offset = m_blocks[block].size();
    if (pos < m_size) {
        offset = pos;
        block = Locate(offset);
    }
    std::vector<uint64_t>& values = m_blocks[block];
    values.insert(values.begin() + static_cast<std::ptrdiff_t>(offset), value);
    ++m_size;
    if (values.size() > kMaxBlock) {
        const auto half = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
        std::vector<uint64_t> tail(half, values.end());
        values.erase(half, values.end());
        m_blocks.insert(m_blocks.begin() + static_cast<std::ptrdiff_t>(block) + 1, std::move(tail));
        RebuildTree();
        return;
    }
    for (size_t i = block + 1; i < m_tree.size(); i += i & (~i + 1)) {
        ++m_tree[i];
    }
}

std::vector<uint64_t> PositionList::ToVector() const {
    std::vector<uint64_t> all;
    all.reserve(m_size);
    for (const std::vector<uint64_t>& values : m_blocks) {
        all.insert(all.end(), values.begin(), values.end());
    }
    return all;
}

void PositionList::RebuildTree() {
    const size_t count = m_blocks.size();
    m_tree.assign(count + 1, 0);
    for (size_t i = 1; i <= count; ++i) {
        m_tree[i] += m_blocks[i - 1].size();
        const size_t parent = i + (i & (~i + 1));
        if (parent <= count) {
            m_tree[parent] += m_tree[i];
        }
    }
}

}  // namespace korvan
