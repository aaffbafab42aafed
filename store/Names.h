/// @file
/// Many names, each once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zel::store {

/// Numbers names from 0 on, in the order in which they come, each name once. Looking one up is much
/// faster than in the standard's sets, for all names lie in one piece of memory.
class Names {
public:
    /// Adds a name, unless it is there already.
    /// @param name The name, without a null character.
    /// @return Its number. @throws std::bad_alloc
    std::size_t add(std::string_view name);

    /// @return The number of a name; size() when it is not there.
    std::size_t find(std::string_view name) const noexcept;
    /// @return Whether a name is there.
    bool has(std::string_view name) const noexcept { return find(name) != size(); }

    /// @return How many names there are.
    std::size_t size() const noexcept { return m_starts.size(); }
    /// @param number Number of a name, less than size().
    /// @return The name, terminated; valid until another is added.
    char const* c_str(std::size_t number) const noexcept {
        return m_characters.data() + m_starts[number];
    }
    /// @param number Number of a name, less than size().
    /// @return The name; valid until another is added.
    std::string_view operator[](std::size_t number) const noexcept;

    /// @return All names, by their numbers. @throws std::bad_alloc
    std::vector<std::string> all() const;

private:
    /// A place in the hash table.
    struct Slot {
        std::uint32_t hash = 0;   // of the name
        std::uint32_t number = 0; // of the name, from 1 on; 0 for an empty place
    };

    std::size_t slotOf(std::string_view name, std::uint32_t hash) const noexcept;
    void grow();

    std::string m_characters; // of all names, each terminated
    std::vector<std::size_t> m_starts;
    std::vector<Slot> m_slots; // a power of two, at least half of them empty
};

} // namespace zel::store
