// A hash table in memory of its own from the system: the library has no heap. It takes memory as it fills and gives it
// back as it empties, so that it never has more than a few times what it holds.
//
// A row is a plain struct, zero where it is free, with two functions: isFree() and hash(), of 32 bits, which do not
// change while the row is in the table. Rows move whenever one is added or taken out: a pointer to one lasts until
// then. The table lies in zeroed memory and stays where it is.
//
// The rows lie in parts, each an array with open addressing and linear probing that doubles and halves, one part after
// the other as the table fills. So no addition moves more than a small part of all rows, and few do. Whoever calls has
// the table to himself.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "bridge/platform.h"

template <typename Row>
struct MappedTable
{
    /// The first row for which the test holds among those that may have this hash, or null.
    template <typename Test>
    Row* find(std::uint32_t hash, Test test)
    {
        Part& part = partOf(hash);
        if (part.rows == nullptr)
            return nullptr;
        for (std::size_t place = hash & part.mask; !part.rows[place].isFree(); place = part.after(place))
            if (test(part.rows[place]))
                return &part.rows[place];
        return nullptr;
    }

    /// Adds a row. False when the system has no memory for it.
    bool add(const Row& row)
    {
        Part& part = partOf(row.hash());
        if (part.rows == nullptr)
            part.keepInPlace();
        if ((part.count + 1) * 4 * kParts > part.capacity() * fill(part) && !part.resize(part.larger()))
            return false;
        part.put(row);
        return true;
    }

    /// Takes a row out.
    void remove(Row* row)
    {
        Part& part = partOf(row->hash());
        part.takeOut(static_cast<std::size_t>(row - part.rows));
        if (part.count * 8 * kParts < part.smaller() * fill(part))
            part.resize(part.smaller()); // without memory for it they stay where they are
    }

    /// Gives all memory back, and the rows with it.
    void release()
    {
        for (Part& part : parts)
            part.unmap();
    }

private:
    static constexpr std::size_t kParts = 128;
    static constexpr std::size_t kInPlace = 4; // rows of a part without memory of its own
    static constexpr std::size_t kFirstMapped = std::bit_floor(4096 / sizeof(Row));

    struct Part
    {
        Row* rows; // null before the first
        std::size_t mask;
        std::size_t count;
        std::array<Row, kInPlace> inPlace;

        void keepInPlace()
        {
            rows = inPlace.data();
            mask = kInPlace - 1;
        }

        bool isInPlace() const
        {
            return rows == inPlace.data();
        }

        std::size_t capacity() const
        {
            return mask + 1;
        }

        std::size_t larger() const
        {
            return isInPlace() ? kFirstMapped : 2 * capacity();
        }

        // The capacity to shrink to; 0 when there is none.
        std::size_t smaller() const
        {
            return isInPlace() ? 0 : capacity() > kFirstMapped ? capacity() / 2 : kInPlace;
        }

        std::size_t after(std::size_t place) const
        {
            return (place + 1) & mask;
        }

        void put(const Row& row)
        {
            std::size_t place = row.hash() & mask;
            while (!rows[place].isFree())
                place = after(place);
            rows[place] = row;
            ++count;
        }

        // Those behind the hole that may stand nearer to their homes move up, so that no gap hides them.
        void takeOut(std::size_t hole)
        {
            for (std::size_t place = after(hole); !rows[place].isFree(); place = after(place)) {
                std::size_t home = rows[place].hash() & mask;
                if (((place - home) & mask) >= ((place - hole) & mask)) {
                    rows[hole] = rows[place];
                    hole = place;
                }
            }
            rows[hole] = Row{};
            --count;
        }

        // Moves the rows into an array of this capacity, a power of two that holds them.
        bool resize(std::size_t newCapacity)
        {
            Part old = *this;
            if (newCapacity == kInPlace) {
                inPlace = {};
                keepInPlace();
            } else if (void* memory = mapMemory(newCapacity * sizeof(Row))) {
                rows = static_cast<Row*>(memory);
                mask = newCapacity - 1;
            } else {
                return false;
            }

            const Row* from = old.rows == inPlace.data() ? old.inPlace.data() : old.rows;
            count = 0;
            for (std::size_t place = 0; place < old.capacity(); ++place)
                if (!from[place].isFree())
                    put(from[place]);
            if (old.rows != inPlace.data())
                unmapMemory(old.rows, old.capacity() * sizeof(Row));
            return true;
        }

        void unmap()
        {
            if (rows != nullptr && !isInPlace())
                unmapMemory(rows, capacity() * sizeof(Row));
        }
    };

    Part& partOf(std::uint32_t hash)
    {
        return parts[hash >> 25];
    }

    // How full a part becomes, in quarters of a part of its capacity: half full, the first one, to three quarters.
    std::size_t fill(const Part& part) const
    {
        return 2 * kParts + static_cast<std::size_t>(&part - parts.data());
    }

    std::array<Part, kParts> parts;
};
