// The tables of stand-ins against a model of them that is slow and plain: random lives of a few libraries, with so few
// numbers that they go round and run out, and with calls that end things begun and settled in any order.

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <vector>

#include "bridge/platform.h"
#include "bridge/stand_ins.h"
#include "check.h"

namespace {

constexpr std::uint32_t kSessions = 30; // less than the handles below come to, so that all are in use at times
constexpr std::uint32_t kObjects = 33;
constexpr int kSteps = 400'000;

// One number that was given out, for ever.
struct Given
{
    Ending::Kind kind;
    CK_FUNCTION_LIST_PTR list;
    jint number;
    CK_ULONG handle;
    CK_SLOT_ID slot;
    int owner; // index of the session that an object ends with, or -1
    int since;
    int enders = 0;
    bool dead = false;
};

struct Pending
{
    Ending ending;
    int ticket;
    bool outlived = false; // by the numbers that it was about
};

std::mt19937 random(20261122);
std::vector<CK_FUNCTION_LIST> lists(3);
std::vector<Given> given;
std::vector<Pending> pending;
std::map<std::pair<CK_FUNCTION_LIST_PTR, CK_SLOT_ID>, std::vector<int>> closings; // of slots, by their tickets
int turn = 1;
int refused = 0;

std::size_t mapped = 0; // bytes of the system's memory that the tables hold
int failing = 0;        // every so many times the system has no more; 0 for never

int below(std::size_t count) { return static_cast<int>(random() % count); }

CK_FUNCTION_LIST_PTR anyList() { return &lists[static_cast<std::size_t>(below(lists.size()))]; }

CK_ULONG anyHandle(Ending::Kind kind) { return (CK_ULONG{kind} << 40) + static_cast<CK_ULONG>(below(12)); }

bool slotWithdrawn(const Given& session)
{
    const std::vector<int>& tickets = closings[{session.list, session.slot}];
    return std::any_of(tickets.begin(), tickets.end(), [&](int ticket) { return session.since < ticket; });
}

bool means(const Given& one)
{
    if (one.dead || one.enders != 0 || (one.kind == Ending::session && slotWithdrawn(one)))
        return false;
    return one.owner < 0 || means(given[static_cast<std::size_t>(one.owner)]);
}

template <typename Test>
int findGiven(Test test)
{
    for (std::size_t i = given.size(); i-- > 0;)
        if (test(given[i]))
            return static_cast<int>(i);
    return -1;
}

bool isOf(const Given& one, Ending::Kind kind, CK_FUNCTION_LIST_PTR list, CK_ULONG handle)
{
    return !one.dead && one.kind == kind && one.list == list && one.handle == handle;
}

void killAll(Ending::Kind kind, CK_FUNCTION_LIST_PTR list, CK_ULONG handle)
{
    for (Given& one : given)
        one.dead = one.dead || isOf(one, kind, list, handle);
}

// How many numbers of a kind some library has, those that wait to be given up included.
std::size_t taken(Ending::Kind kind)
{
    std::size_t count = 0;
    for (const Given& one : given)
        count += one.kind == kind && !one.dead && (one.owner < 0 || !given[static_cast<std::size_t>(one.owner)].dead);
    return count;
}

void note(bool done, const Given& one, std::uint32_t most)
{
    if (!done) {
        ++refused;
        check("no number left", taken(one.kind) >= most ? "no number left" : "refused too early");
        return;
    }
    for (const Given& other : given)
        check("a number of its own", means(other) && other.number == one.number ? "another's" : "a number of its own");
    given.push_back(one);
}

void open()
{
    Given one = {Ending::session, anyList(), 0, anyHandle(Ending::session), CK_SLOT_ID(below(2)), -1, turn};
    bool done = sessionToJava(one.list, one.slot, one.handle, &one.number);
    if (done)
        killAll(one.kind, one.list, one.handle);
    note(done, one, kSessions);
}

void make()
{
    Given one = {Ending::object, anyList(), 0, anyHandle(Ending::object), 0, -1, turn};
    CK_SESSION_HANDLE owner = below(2) == 0 ? 0 : anyHandle(Ending::session);
    one.owner =
        findGiven([&](const Given& each) { return isOf(each, Ending::session, one.list, owner) && means(each); });
    bool done = newObjectToJava(one.list, owner, one.handle, &one.number);
    if (done)
        killAll(one.kind, one.list, one.handle);
    note(done, one, kObjects);
}

void find()
{
    Given one = {Ending::object, anyList(), 0, anyHandle(Ending::object), 0, -1, turn};
    int known = findGiven([&](const Given& each) { return isOf(each, one.kind, one.list, one.handle) && means(each); });
    bool done = foundObjectToJava(one.list, one.handle, &one.number);
    if (known >= 0)
        check("the number that it has",
              done && isOf(given[static_cast<std::size_t>(known)], one.kind, one.list, one.handle) &&
                      findGiven([&](const Given& each) {
                          return isOf(each, one.kind, one.list, one.handle) && means(each) && each.number == one.number;
                      }) >= 0
                  ? "the number that it has"
                  : "another");
    else
        note(done, one, kObjects);
}

void begin()
{
    Ending ending = {Ending::Kind(1 + below(3)), anyList(), CK_SLOT_ID(below(2))};
    int of = given.empty() ? -1 : below(given.size());
    if (ending.kind != Ending::slot) {
        if (of < 0)
            return;
        const Given& one = given[static_cast<std::size_t>(of)];
        ending = {one.kind, one.list, one.handle, below(4) == 0 ? 0 : one.number};
    }
    bool meant = of >= 0 && ending.kind != Ending::slot && findGiven([&](const Given& each) {
                                                               return means(each) && each.list == ending.list &&
                                                                      each.number == ending.number;
                                                           }) >= 0;
    int ticket = ++turn;
    bool withdrawn = withdraw(&ending);
    check(ending.number == 0 || meant ? "withdrawn" : "means nothing", withdrawn ? "withdrawn" : "means nothing");
    if (!withdrawn || ending.ticket == 0) // the library has no numbers at all
        return;
    for (Given& one : given)
        one.enders += isOf(one, ending.kind, ending.list, ending.handle) ? 1 : 0;
    if (ending.kind == Ending::slot)
        closings[{ending.list, ending.handle}].push_back(ticket);
    pending.push_back({ending, ticket});
}

void end()
{
    if (pending.empty())
        return;
    auto chosen = pending.begin() + below(pending.size());
    auto [ending, ticket, outlived] = *chosen;
    pending.erase(chosen);
    const CK_RV answers[] = {CKR_OK, CKR_DEVICE_ERROR, CKR_SESSION_CLOSED, CKR_SESSION_HANDLE_INVALID,
                             CKR_OBJECT_HANDLE_INVALID};
    CK_RV rv = answers[below(std::size(answers))];
    bool noSession = rv == CKR_SESSION_CLOSED || rv == CKR_SESSION_HANDLE_INVALID;
    bool ended = rv == CKR_OK || (noSession && ending.kind == Ending::session) ||
                 (rv == CKR_OBJECT_HANDLE_INVALID && ending.kind == Ending::object);
    settle(ending, rv);
    giveUpMembers(ending.list);
    if (outlived)
        return;

    for (Given& one : given) {
        bool inSlot = ending.kind == Ending::slot && one.kind == Ending::session && one.list == ending.list &&
                      one.slot == ending.handle && (one.since < ticket || slotWithdrawn(one));
        bool concerned = isOf(one, ending.kind, ending.list, ending.handle);
        one.dead = one.dead || (ended && (inSlot || (concerned && (one.enders != 0 || one.since < ticket))));
        one.enders -= concerned && !ended && one.since < ticket ? 1 : 0;
    }
    if (ending.kind == Ending::slot)
        std::erase(closings[{ending.list, ending.handle}], ticket);
}

void finalize()
{
    CK_FUNCTION_LIST_PTR list = anyList();
    giveBack(takeStandIns(list));
    for (Given& one : given)
        one.dead = one.dead || one.list == list;
    for (Pending& each : pending)
        each.outlived = each.outlived || each.ending.list == list;
    for (CK_SLOT_ID slot : {CK_SLOT_ID{0}, CK_SLOT_ID{1}})
        closings[{list, slot}].clear();
}

void compareAll()
{
    std::set<std::pair<CK_FUNCTION_LIST_PTR, jint>> meant;
    for (const Given& one : given) {
        if (!means(one))
            continue;
        CK_ULONG handle = 0;
        bool found = one.kind == Ending::session ? sessionFromJava(one.list, one.number, &handle)
                                                 : objectFromJava(one.list, one.number, &handle);
        check(std::to_string(one.handle), found ? std::to_string(handle) : "nothing");
        meant.insert({one.list, one.number});
    }
    for (const Given& one : given)
        for (CK_FUNCTION_LIST& list : lists) {
            CK_ULONG handle = 0;
            bool found = one.kind == Ending::session ? sessionFromJava(&list, one.number, &handle)
                                                     : objectFromJava(&list, one.number, &handle);
            bool expected = meant.count({&list, one.number}) != 0;
            check(expected ? "something" : "nothing", found ? "something" : "nothing");
        }
    std::vector<int> moved(given.size(), -1);
    std::vector<Given> kept;
    for (std::size_t i = 0; i < given.size(); ++i)
        if (!given[i].dead || i + 300 > given.size()) {
            moved[i] = static_cast<int>(kept.size());
            kept.push_back(given[i]);
        }
    for (Given& one : kept) {
        one.dead = one.dead || (one.owner >= 0 && moved[static_cast<std::size_t>(one.owner)] < 0);
        one.owner = one.owner >= 0 ? moved[static_cast<std::size_t>(one.owner)] : -1;
    }
    given = std::move(kept);
}

// Tables that were once large give back what they no longer need as they empty, and everything in the end.
void testMemory()
{
    constexpr CK_ULONG kMany = 60'000;
    constexpr std::size_t kLittle = std::size_t{1} << 20;
    CK_FUNCTION_LIST_PTR list = &lists[0];
    stand_in::objectNumbers.count = 1 << 24;
    std::vector<jint> numbers(kMany);
    for (int life = 0; life < 12; ++life) {
        bool done = true;
        for (CK_ULONG i = 0; i < kMany; ++i)
            done = done && newObjectToJava(list, 0, (i << 32) + 1, &numbers[i]);
        check("there is room for many", done ? "there is room for many" : "there is none");
        check("they take memory", mapped > 2 * kLittle ? "they take memory" : "they take none");
        for (CK_ULONG i = 0; life % 2 == 0 && i < kMany; ++i) {
            Ending ending = {Ending::object, list, (i << 32) + 1, numbers[i]};
            withdraw(&ending);
            settle(ending, CKR_OK);
        }
        if (life % 2 == 0)
            check("given back as they end", mapped < kLittle ? "given back as they end" : "kept");
        giveBack(takeStandIns(list));
        for (int small = 0; small < 20; ++small) {
            newObjectToJava(list, 0, CK_ULONG{1} << 32, numbers.data());
            giveBack(takeStandIns(list));
        }
        check("given back at the end", mapped == 0 ? "given back at the end" : "kept");
    }
}

// While memory is short some handles get no number; those that do keep it, and the others get one later.
void testFailingMemory()
{
    constexpr CK_ULONG most = 20'000;
    std::map<CK_OBJECT_HANDLE, jint> numbers;
    for (int round : {1, 2, 0}) {
        failing = round;
        for (CK_ULONG i = 1; i <= most; ++i)
            if (jint number = 0; numbers.count(i << 32) == 0 && newObjectToJava(&lists[0], 0, i << 32, &number))
                numbers[i << 32] = number;
        check("some, in the end all", (numbers.size() < most) == (round != 0) ? "some, in the end all" : "others");
        for (auto [expected, number] : numbers) {
            CK_ULONG handle = 0;
            check("kept", stand_in::handleOf(&lists[0], number, &handle) && handle == expected ? "kept" : "lost");
        }
    }
    giveBack(takeStandIns(&lists[0]));
    check("0 bytes", std::to_string(mapped) + " bytes");
}

} // namespace

void* mapMemory(std::size_t size)
{
    static int asked = 0;
    if (failing != 0 && ++asked % failing == 0)
        return nullptr;
    constexpr std::size_t page = 4096;
    mapped += size;
    void* memory = std::aligned_alloc(page, (size + page - 1) / page * page);
    return std::memset(memory, 0, size);
}

void unmapMemory(void* memory, std::size_t size)
{
    mapped -= size;
    std::free(memory);
}

int main()
{
    stand_in::sessionNumbers.count = kSessions;
    stand_in::objectNumbers.count = kObjects;
    void (*const steps[])() = {open, open, make, make, make, find, find, begin, begin, begin, end, end};
    for (int step = 0; step < kSteps && failures < 20; ++step) {
        if (step % 997 == 0)
            finalize();
        else
            steps[below(std::size(steps))]();
        for (CK_FUNCTION_LIST& list : lists)
            giveUpMembers(&list);
        if (step % 50 == 0)
            compareAll();
    }
    for (CK_FUNCTION_LIST& list : lists)
        giveBack(takeStandIns(&list));
    testMemory();
    testFailingMemory();
    check("numbers ran out at times", refused > 100 ? "numbers ran out at times" : "numbers never ran out");
    std::fprintf(stderr, "%d refusals, %d failures\n", refused, failures);
    return failures == 0 ? 0 : 1;
}
