#include "bridge/stand_in_table.h"

namespace stand_in {

namespace {

std::uint32_t hashOf(std::uint64_t key)
{
    return static_cast<std::uint32_t>((key * 0x9E3779B97F4A7C15) >> 32);
}

void joinMembers(StandInTable& table, Node& node)
{
    Node* owner = node.owner != 0 ? nodeOf(table, node.owner) : nullptr;
    if (owner == nullptr)
        return;
    node.next = owner->firstMember;
    owner->firstMember = node.number;
    if (node.next != 0)
        nodeOf(table, node.next)->previous = node.number;
}

void leaveMembers(StandInTable& table, const Node& node)
{
    if (node.previous != 0)
        nodeOf(table, node.previous)->next = node.next;
    else if (node.owner != 0)
        nodeOf(table, node.owner)->firstMember = node.next;
    if (node.next != 0)
        nodeOf(table, node.next)->previous = node.previous;
}

void removeNode(StandInTable& table, Node* node)
{
    --table.count[node->kind];
    table.enders -= node->enders;
    table.nodes.remove(node);
}

} // namespace

std::uint32_t Node::hash() const
{
    return hashOf(number);
}

std::uint32_t hashOf(Ending::Kind kind, CK_ULONG handle)
{
    return hashOf(std::uint64_t{handle} * 4 + kind);
}

Node* nodeOf(StandInTable& table, std::uint32_t number)
{
    return table.nodes.find(hashOf(number), [number](const Node& node) { return node.number == number; });
}

bool isInUse(StandInTable& table, const Node& node)
{
    if (table.enders == 0)
        return true;
    return node.enders == 0 && (node.owner == 0 || isInUse(table, *nodeOf(table, node.owner)));
}

Node* findInUse(StandInTable& table, Ending::Kind kind, CK_ULONG handle)
{
    return findNode(table, kind, handle, [&table](const Node& node) { return isInUse(table, node); });
}

bool addNode(StandInTable& table, Ending::Kind kind, std::uint32_t number, CK_ULONG handle, std::uint32_t owner)
{
    Node node = {handle, turns.load(), number, 0, owner, 0, 0, 0, kind};
    HandleRow row = {hashOf(kind, handle), number};
    if (nodeOf(table, number) != nullptr || !table.byHandle.add(row))
        return false;
    if (!table.nodes.add(node)) {
        table.byHandle.remove(
            table.byHandle.find(row.hash(), [number](const HandleRow& each) { return each.number == number; }));
        return false;
    }
    joinMembers(table, *nodeOf(table, number));
    ++table.count[kind];
    return true;
}

std::uint32_t numberOfSlot(StandInTable& table, CK_SLOT_ID slot)
{
    if (Node* node = findInUse(table, Ending::slot, slot))
        return node->number;
    do
        table.lastSlot = table.lastSlot + 1 < kFirst ? table.lastSlot + 1 : 1;
    while (nodeOf(table, table.lastSlot) != nullptr);
    return addNode(table, Ending::slot, table.lastSlot, slot, 0) ? table.lastSlot : 0;
}

void bury(StandInTable& table, Node* node)
{
    std::uint32_t number = node->number;
    leaveMembers(table, *node);
    table.byHandle.remove(table.byHandle.find(hashOf(node->kind, node->handle),
                                              [number](const HandleRow& row) { return row.number == number; }));
    if (node->firstMember == 0) {
        removeNode(table, node);
        return;
    }
    table.enders += 1 - node->enders;
    node->enders = 1; // for good
    node->owner = 0;
    node->next = table.buried;
    table.buried = number;
}

bool giveUpSome(StandInTable& table, int atMost)
{
    for (int i = 0; i < atMost && table.buried != 0; ++i) {
        Node* first = nodeOf(table, table.buried);
        if (first->firstMember != 0) {
            bury(table, nodeOf(table, first->firstMember));
        } else {
            table.buried = first->next;
            removeNode(table, first);
        }
    }
    return table.buried != 0;
}

} // namespace stand_in
