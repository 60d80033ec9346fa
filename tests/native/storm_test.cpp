// Eight threads and the whole life of libraries: load, initialise, open, find, create, destroy, close, close all,
// finalise, all at once. For the thread sanitizer, and for what it cannot see: a session or object that answers for
// another. The module's handles are addresses, too wide for an int, which it uses again later than any thread here uses
// an old one. The arguments are files of the stub module, each a library of its own.

#include <array>
#include <atomic>
#include <functional>
#include <thread>
#include <vector>

#include "check.h"
#include "thin_jni.h"

namespace {

constexpr int kThreads = 8;
constexpr int kRounds = 3000;
constexpr std::size_t kBlocks = 4096;

// What a handle leads to. Who made it wrote down a word by which he knows it again.
struct Block
{
    CK_ULONG word; // 0 while it is free
    CK_SLOT_ID slot;
    CK_SESSION_HANDLE session; // of an object; 0 for a session
};

// One module: a state for each library, so that one is not taken for the other.
struct Module
{
    std::mutex guard;
    std::array<Block, kBlocks> blocks;
    std::size_t next = 0;
    bool initialized = false;

    Block* take(CK_ULONG word, CK_SLOT_ID slot, CK_SESSION_HANDLE session)
    {
        do
            next = (next + 1) % kBlocks;
        while (blocks[next].word != 0);
        blocks[next] = {word, slot, session};
        return &blocks[next];
    }

    Block* find(CK_ULONG handle)
    {
        auto* block = reinterpret_cast<Block*>(handle);
        bool known = block >= blocks.data() && block < blocks.data() + kBlocks && block->word != 0;
        return known && initialized ? block : nullptr;
    }

    void end(Block* block)
    {
        for (Block& each : blocks)
            if (each.word != 0 && each.session == reinterpret_cast<CK_ULONG>(block) && &each != block)
                end(&each);
        block->word = 0;
    }
};

std::array<Module, 2> modules;
std::atomic<int> wrong = 0;

// The first module locks for itself; the second counts on the bridge lock, and has no other.
template <std::size_t index, typename Work>
CK_RV entered(Work work)
{
    std::unique_lock<std::mutex> lock(modules[index].guard, std::defer_lock);
    if (index == 0)
        lock.lock();
    return work(modules[index]);
}

template <std::size_t index, typename Work>
CK_RV inside(Work work)
{
    return entered<index>(
        [work](Module& module) { return module.initialized ? work(module) : CKR_CRYPTOKI_NOT_INITIALIZED; });
}

// The functions of a module. A word is made of the flags of a session, or of the label of an object.
template <std::size_t index>
void fill(CK_FUNCTION_LIST* list)
{
    list->C_Initialize = [](void* locking) {
        return entered<index>([locking](Module& module) -> CK_RV {
            if (index == 1 && locking != nullptr)
                return CKR_CANT_LOCK;
            module.blocks = {};
            module.next = 0;
            module.initialized = true;
            return CKR_OK;
        });
    };
    list->C_Finalize = [](void*) {
        return entered<index>([](Module& module) -> CK_RV {
            module.initialized = false;
            return CKR_OK;
        });
    };
    list->C_OpenSession = [](CK_SLOT_ID slot, CK_FLAGS flags, void*, CK_NOTIFY, CK_SESSION_HANDLE* session) {
        return inside<index>([=](Module& module) -> CK_RV {
            *session = reinterpret_cast<CK_ULONG>(module.take(flags, slot, 0));
            return CKR_OK;
        });
    };
    list->C_CloseSession = [](CK_SESSION_HANDLE session) {
        return inside<index>([=](Module& module) -> CK_RV {
            Block* block = module.find(session);
            if (block == nullptr)
                return CKR_SESSION_HANDLE_INVALID;
            module.end(block);
            return CKR_OK;
        });
    };
    list->C_CloseAllSessions = [](CK_SLOT_ID slot) {
        return inside<index>([=](Module& module) -> CK_RV {
            for (Block& each : module.blocks)
                if (each.word != 0 && each.slot == slot && each.session == 0)
                    module.end(&each);
            return CKR_OK;
        });
    };
    list->C_GetSessionInfo = [](CK_SESSION_HANDLE session, CK_SESSION_INFO* info) {
        return inside<index>([=](Module& module) -> CK_RV {
            const Block* block = module.find(session);
            info->state = block != nullptr ? block->word : 0;
            return block != nullptr ? CKR_OK : CKR_SESSION_HANDLE_INVALID;
        });
    };
    list->C_CreateObject = [](CK_SESSION_HANDLE session, CK_ATTRIBUTE*, CK_ULONG, CK_OBJECT_HANDLE* object) {
        return inside<index>([=](Module& module) -> CK_RV {
            const Block* owner = module.find(session);
            if (owner == nullptr)
                return CKR_SESSION_HANDLE_INVALID;
            *object = reinterpret_cast<CK_ULONG>(module.take(owner->word, owner->slot, session));
            return CKR_OK;
        });
    };
    list->C_FindObjects = [](CK_SESSION_HANDLE session, CK_OBJECT_HANDLE* objects, CK_ULONG, CK_ULONG* count) {
        return inside<index>([=](Module& module) -> CK_RV {
            *count = 0;
            for (Block& each : module.blocks)
                if (each.word != 0 && each.session == session && *count == 0) {
                    *objects = reinterpret_cast<CK_ULONG>(&each);
                    *count = 1;
                }
            return module.find(session) != nullptr ? CKR_OK : CKR_SESSION_HANDLE_INVALID;
        });
    };
    list->C_GetObjectSize = [](CK_SESSION_HANDLE, CK_OBJECT_HANDLE object, CK_ULONG* size) {
        return inside<index>([=](Module& module) -> CK_RV {
            const Block* block = module.find(object);
            *size = block != nullptr ? block->word : 0;
            return block != nullptr ? CKR_OK : CKR_OBJECT_HANDLE_INVALID;
        });
    };
    list->C_DestroyObject = [](CK_SESSION_HANDLE, CK_OBJECT_HANDLE object) {
        return inside<index>([=](Module& module) -> CK_RV {
            Block* block = module.find(object);
            if (block == nullptr)
                return CKR_OBJECT_HANDLE_INVALID;
            module.end(block);
            return CKR_OK;
        });
    };
}

// What becomes of a session whose slot another thread has closed, and of its object.
bool isGone(const std::string& outcome)
{
    return outcome == std::to_string(CKR_SESSION_HANDLE_INVALID) ||
           outcome == std::to_string(CKR_OBJECT_HANDLE_INVALID);
}

void expect(bool held, const std::string& found)
{
    if (!held)
        std::fprintf(stderr, "%d: %s, word %d\n", ++wrong, found.c_str(), made.number);
}

void expectWord(Thing object, jint word)
{
    raised.clear();
    made.number = OBJECT(size)(env, reference<jobject>(&object));
    expect(raised.empty() ? made.number == word : isGone(raised), "size: " + raised);
}

// One holder's life in a library that others initialise and finalise, and whose sessions they close, at any moment.
// `word` is this round's own: whatever else our handles lead to, it is never another's word.
void live(const char* file, CK_SLOT_ID slotID, jint word, bool closesAll)
{
    Thing library;
    expect(load(library, file).empty(), "load: " + raised);
    expect(on(library, LIBRARY(libInitialize)).empty(), "libInitialize: " + raised);
    Thing slot = {static_cast<jint>(slotID), &library, 0};
    expect(on(slot, SLOT(openSession), word, nullptr).empty(), "openSession: " + raised);
    Thing session = made;

    on(session, SESSION(getInfo));
    expect(raised.empty() ? made.number == word : isGone(raised), "getInfo: " + raised);
    on(session, SESSION(createObject), nullptr, nullptr);
    expect(raised.empty() || isGone(raised), "createObject: " + raised);
    if (Thing object = made; raised.empty()) {
        expectWord(object, word);
        on(session, SESSION(findObject));
        if (Thing found = made; raised.empty() && found.owner != nullptr)
            expectWord(found, word);
        on(object, OBJECT(destroy));
        expect(raised.empty() || isGone(raised), "destroy: " + raised);
        expect(isGone(on(object, OBJECT(destroy))), "destroy again: " + raised);
    }
    on(session, SESSION(getInfo));
    expect(raised.empty() ? made.number == word : isGone(raised), "getInfo again: " + raised);

    expect(closesAll ? on(slot, SLOT(closeAllSessions)).empty() : (on(session, SESSION(close)), true), raised);
    expect(isGone(on(session, SESSION(close))), "close again: " + raised);
    expect(on(library, LIBRARY(libFinalize)).empty(), "libFinalize: " + raised);
    expect(on(session, SESSION(getInfo)) == "functionList is null", "getInfo at the end: " + raised);
}

// A last holder waits for a call in progress, in which `meanwhile` happens, and then ends the library or not.
std::function<void()> inCall;

void finalizeDuringCall(const char* file, const std::function<void()>& meanwhile, bool ends)
{
    Thing library;
    expect(load(library, file).empty() && on(library, LIBRARY(libInitialize)).empty(), "load: " + raised);
    const jlong list = library.wide;
    std::atomic<bool> isInside = false;
    std::atomic<bool> hasLeft = false;
    inCall = [&] {
        isInside = true;
        while (library.sharedWide() != 0) // until the last holder has come
            std::this_thread::yield();
        meanwhile();
        hasLeft = true;
    };
    reinterpret_cast<CK_FUNCTION_LIST*>(list)->C_Logout = [](CK_SESSION_HANDLE) { return inCall(), CKR_OK; };
    std::thread caller([&library] {
        Thing slot = {0, &library, 0};
        Thing session = {1, &slot, 0};
        expect(on(session, SESSION(logout)).empty(), "logout: " + raised);
    });
    while (!isInside)
        std::this_thread::yield();
    expect(on(library, LIBRARY(libFinalize)).empty(), "libFinalize: " + raised);
    expect(hasLeft && modules[0].initialized != ends, "not waited for, or ended wrongly");
    caller.join();
    library.wide = list;
    expect(on(library, LIBRARY(libFinalize)).empty() != ends, "libFinalize again: " + raised);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3)
        return 2;
    // The lists are filled once: a holder of each stays until then.
    std::array<Thing, 2> holders;
    for (std::size_t i = 0; i < holders.size(); ++i)
        check("", load(holders[i], argv[i + 1]));
    check("two libraries", holders[0].wide != holders[1].wide ? "two libraries" : "one library");
    fill<0>(reinterpret_cast<CK_FUNCTION_LIST*>(holders[0].wide));
    fill<1>(reinterpret_cast<CK_FUNCTION_LIST*>(holders[1].wide));
    for (Thing& each : holders)
        check("", on(each, LIBRARY(libFinalize)));

    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread)
        threads.emplace_back([thread, argv] {
            for (int round = 0; round < kRounds; ++round)
                live(argv[1 + thread % 2], static_cast<CK_SLOT_ID>(thread / 4), 1 + thread + kThreads * round,
                     round % 7 == thread % 7);
        });
    for (std::thread& each : threads)
        each.join();
    finalizeDuringCall(argv[1], [] {}, true);
    Thing next;
    finalizeDuringCall(argv[1], [&] { load(next, argv[1]); }, false);
    check("0 wrong", std::to_string(wrong) + " wrong");
    std::fprintf(stderr, "%d failures\n", failures);
    return failures == 0 ? 0 : 1;
}
