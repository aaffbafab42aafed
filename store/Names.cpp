#include "store/Names.h"

#include <functional>
#include <utility>

namespace zel::store {

namespace {

constexpr std::size_t fewestSlots = 64;

std::uint32_t hashOf(std::string_view name) noexcept {
    return static_cast<std::uint32_t>(std::hash<std::string_view>()(name) & UINT32_MAX);
}

} // namespace

std::size_t Names::add(std::string_view name) {
    if (2 * (size() + 1) > m_slots.size())
        grow();
    std::uint32_t const hash = hashOf(name);
    Slot& slot = m_slots[slotOf(name, hash)];
    if (slot.number != 0)
        return slot.number - 1;
    m_starts.push_back(m_characters.size());
    m_characters.append(name) += '\0';
    slot = {hash, static_cast<std::uint32_t>(size())};
    return size() - 1;
}

std::size_t Names::find(std::string_view name) const noexcept {
    if (m_slots.empty())
        return size();
    Slot const& slot = m_slots[slotOf(name, hashOf(name))];
    return slot.number != 0 ? slot.number - 1 : size();
}

std::string_view Names::operator[](std::size_t number) const noexcept {
    std::size_t const end = number + 1 < size() ? m_starts[number + 1] : m_characters.size();
    return {c_str(number), end - 1 - m_starts[number]};
}

std::vector<std::string> Names::all() const {
    std::vector<std::string> names;
    for (std::size_t number = 0; number < size(); ++number)
        names.emplace_back((*this)[number]);
    return names;
}

/// @return Where a name is, or an empty place where it belongs.
std::size_t Names::slotOf(std::string_view name, std::uint32_t hash) const noexcept {
    std::size_t const last = m_slots.size() - 1;
    std::size_t place = hash & last;
    while (m_slots[place].number != 0 &&
           (m_slots[place].hash != hash || (*this)[m_slots[place].number - 1] != name))
        place = (place + 1) & last;
    return place;
}

void Names::grow() {
    std::vector<Slot> slots(m_slots.empty() ? fewestSlots : 2 * m_slots.size());
    std::size_t const last = slots.size() - 1;
    for (Slot const& slot : m_slots) {
        if (slot.number == 0)
            continue;
        std::size_t place = slot.hash & last;
        while (slots[place].number != 0)
            place = (place + 1) & last;
        slots[place] = slot;
    }
    m_slots = std::move(slots);
}

} // namespace zel::store
