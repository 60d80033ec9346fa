// What one number of a library stands for, and everything that it knows of these: the table behind stand_ins.h.
//
// Numbers are the nodes of a tree: slots, their sessions, and the objects that end with these. A node means something
// while no call is ending it, or a node above it. What ends is buried: it leaves the tree at once, and what hangs below
// it is given up afterwards, some at a time.
//
// Whoever calls has the table to himself. A pointer to a node lasts until one is added or taken out.
#pragma once

#include <atomic>
#include <cstdint>

#include "bridge/mapped_table.h"
#include "bridge/stand_ins.h"

namespace stand_in {

/// What one number stands for.
struct Node
{
    CK_ULONG handle;
    std::uint64_t since;  // the turn in which it was made
    std::uint32_t number; // by which the table finds it; 0 where the row is free
    std::uint32_t enders; // calls in progress that end it
    std::uint32_t owner;  // numbers of other nodes, 0 for none
    std::uint32_t firstMember;
    std::uint32_t next; // among the members of one owner, or the buried
    std::uint32_t previous;
    Ending::Kind kind;

    bool isFree() const
    {
        return number == 0;
    }

    std::uint32_t hash() const;
};

/// The way from a handle to its nodes; more than one when a search has met what was withdrawn.
struct HandleRow
{
    std::uint32_t handleHash;
    std::uint32_t number;

    bool isFree() const
    {
        return number == 0;
    }

    std::uint32_t hash() const
    {
        return handleHash;
    }
};

} // namespace stand_in

/// The stand-ins of one library. Lies in zeroed memory of its own.
struct StandInTable
{
    std::uint64_t born; // in this turn; tickets from before are another life's
    MappedTable<stand_in::Node> nodes;
    MappedTable<stand_in::HandleRow> byHandle;
    std::uint32_t count[Ending::slot + 1]; // of nodes, by their kind
    std::uint64_t enders;                  // of all nodes together
    std::uint32_t lastSlot;                // the number given to a slot last, which Java never sees
    std::uint32_t buried;                  // a node out of use whose members wait to be given up; more follow by `next`
};

namespace stand_in {

/// Counts on with every call that ends something, so that one can tell what was there before it.
inline std::atomic<std::uint64_t> turns = 1;

// ---- Finding nodes: null when there is none ----

Node* nodeOf(StandInTable& table, std::uint32_t number);

std::uint32_t hashOf(Ending::Kind kind, CK_ULONG handle);

/// A node of a handle for which the test holds.
template <typename Test>
Node* findNode(StandInTable& table, Ending::Kind kind, CK_ULONG handle, Test test)
{
    Node* found = nullptr;
    std::uint32_t hash = hashOf(kind, handle);
    table.byHandle.find(hash, [&](const HandleRow& row) {
        if (row.handleHash != hash)
            return false;
        Node* node = nodeOf(table, row.number);
        bool wanted = node->kind == kind && node->handle == handle && test(*node);
        found = wanted ? node : nullptr;
        return wanted;
    });
    return found;
}

/// Does something with all nodes of a handle.
template <typename Action>
void forNodes(StandInTable& table, Ending::Kind kind, CK_ULONG handle, Action action)
{
    findNode(table, kind, handle, [&action](Node& node) { return action(node), false; });
}

bool isInUse(StandInTable& table, const Node& node);

Node* findInUse(StandInTable& table, Ending::Kind kind, CK_ULONG handle);

// ---- Adding nodes ----

/// Adds a node that is in use, below its owner, which may be 0. False without memory, and for a number that is there.
bool addNode(StandInTable& table, Ending::Kind kind, std::uint32_t number, CK_ULONG handle, std::uint32_t owner);

/// The number of a slot that is in use, which gets a node if it has none; 0 without memory.
std::uint32_t numberOfSlot(StandInTable& table, CK_SLOT_ID slot);

// ---- Giving nodes up ----

/// Takes a node out of use for good. One with members stays until they are given up.
void bury(StandInTable& table, Node* node);

/// The same for all nodes of a handle for which the test holds.
template <typename Test>
void buryAll(StandInTable& table, Ending::Kind kind, CK_ULONG handle, Test test)
{
    while (Node* node = findNode(table, kind, handle, test))
        bury(table, node);
}

/// Gives up some of what is buried, at most so many nodes. False when nothing is left.
bool giveUpSome(StandInTable& table, int atMost);

} // namespace stand_in
