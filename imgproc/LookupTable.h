/// @file
/// Records that are found by what identifies them.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

/// An immutable table of records in a given order. find() gives the first record with an identity:
/// by a linear search while there are few records, by a binary search once there are many.
/// @tparam Record   Type of the records.
/// @tparam Identity Provides the type `Key` of an identity, the identity `of(record)`, and the
///                  comparisons `equal(a, b)` and `less(a, b)`. An identity that is not equal to
///                  itself is never found.
template <class Record, class Identity>
class LookupTable {
public:
    using Key = typename Identity::Key; ///< what identifies a record

    LookupTable() = default;

    /// @param records The records, in their order. @throws std::bad_alloc
    explicit LookupTable(std::vector<Record> records) : m_records(std::move(records)) {
        if (m_records.size() <= linearSearchLimit)
            return;
        for (std::size_t i = 0; i < m_records.size(); ++i) {
            if (Identity::equal(keyAt(i), keyAt(i)))
                m_order.push_back(static_cast<Position>(i));
        }
        std::stable_sort(m_order.begin(), m_order.end(), [this](Position a, Position b) {
            return Identity::less(keyAt(a), keyAt(b));
        });
    }

    /// @return Number of records.
    std::size_t size() const noexcept { return m_records.size(); }
    /// @return The record at an index below size().
    Record const& operator[](std::size_t index) const noexcept { return m_records[index]; }
    /// @return The first record.
    auto begin() const noexcept { return m_records.begin(); }
    /// @return After the last record.
    auto end() const noexcept { return m_records.end(); }

    /// @return The first record with this identity; null when there is none.
    Record const* find(Key const& key) const noexcept {
        return m_records.size() <= linearSearchLimit ? lookThrough(key) : search(key);
    }

    /// @return The index of a record that find() returned.
    int indexOf(Record const* record) const noexcept {
        return static_cast<int>(record - m_records.data());
    }

private:
    using Position = std::uint32_t;
    static constexpr std::size_t linearSearchLimit = 16;

    Key keyAt(std::size_t index) const noexcept { return Identity::of(m_records[index]); }

    Record const* lookThrough(Key const& key) const noexcept {
        for (Record const& record : m_records) {
            if (Identity::equal(Identity::of(record), key))
                return &record;
        }
        return nullptr;
    }

    Record const* search(Key const& key) const noexcept {
        auto const hit =
            std::lower_bound(m_order.begin(), m_order.end(), key, [this](Position a, Key const& b) {
                return Identity::less(keyAt(a), b);
            });
        if (hit == m_order.end() || !Identity::equal(keyAt(*hit), key))
            return nullptr;
        return &m_records[*hit];
    }

    std::vector<Record> m_records;
    // Positions sorted by identity; empty with no more records than linearSearchLimit.
    std::vector<Position> m_order;
};
