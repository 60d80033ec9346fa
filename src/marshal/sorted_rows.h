// Looking a row up in a table that is written for readers: its order by number is computed at compile time.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

/// The places of a table's rows in the order of their keys; rows of one key stay in the table's order.
template <typename Row, std::size_t count, typename Key>
constexpr std::array<std::uint16_t, count> sortedRows(const Row (&rows)[count], Key Row::* key)
{
    std::array<std::uint16_t, count> places = {};
    for (std::size_t i = 0; i < count; ++i)
        places[i] = static_cast<std::uint16_t>(i);
    std::sort(places.begin(), places.end(), [&rows, key](std::uint16_t one, std::uint16_t other) {
        return rows[one].*key != rows[other].*key ? rows[one].*key < rows[other].*key : one < other;
    });
    return places;
}

/// The first row of the table with a key, or null.
template <typename Row, std::size_t count, typename Key>
const Row* findRow(const Row (&rows)[count], const std::array<std::uint16_t, count>& sorted, Key Row::* key, Key wanted)
{
    const auto* place = std::lower_bound(sorted.begin(), sorted.end(), wanted,
                                         [&rows, key](std::uint16_t row, Key value) { return rows[row].*key < value; });
    return place != sorted.end() && rows[*place].*key == wanted ? &rows[*place] : nullptr;
}
