// What handles wider than an int cost: memory that is promised, locked and used, and how long another thread waits
// while millions of them end. No JVM; the argument is a module whose functions are put in place here.

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <memory>
#include <thread>
#include <vector>

#include "thin_jni.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr CK_ULONG kWide = CK_ULONG{1} << 40;

std::atomic<CK_ULONG> nextHandle = kWide;
const char* modulePath;

Thing library, slot, other;

// A figure of this process in kB: VmRSS, VmData, VmLck.
long memory(const char* name)
{
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;)
        if (word == std::string(name) + ":") {
            long kilobytes = 0;
            status >> kilobytes;
            return kilobytes;
        }
    return -1;
}

void loadModule()
{
    load(library, modulePath);
    auto* list = reinterpret_cast<CK_FUNCTION_LIST*>(library.list);
    list->C_Initialize = [](void*) -> CK_RV { return CKR_OK; };
    list->C_Finalize = [](void*) -> CK_RV { return CKR_OK; };
    list->C_OpenSession = [](CK_SLOT_ID, CK_FLAGS, void*, CK_NOTIFY, CK_SESSION_HANDLE* session) -> CK_RV {
        *session = nextHandle++;
        return CKR_OK;
    };
    list->C_CloseSession = [](CK_SESSION_HANDLE) -> CK_RV { return CKR_OK; };
    list->C_CloseAllSessions = [](CK_SLOT_ID) -> CK_RV { return CKR_OK; };
    list->C_GetSessionInfo = [](CK_SESSION_HANDLE, CK_SESSION_INFO*) -> CK_RV { return CKR_OK; };
    list->C_GetObjectSize = [](CK_SESSION_HANDLE, CK_OBJECT_HANDLE, CK_ULONG*) -> CK_RV { return CKR_OK; };
    list->C_CreateObject = [](CK_SESSION_HANDLE, CK_ATTRIBUTE*, CK_ULONG, CK_OBJECT_HANDLE* object) -> CK_RV {
        *object = nextHandle++;
        return CKR_OK;
    };
    list->C_FindObjects = [](CK_SESSION_HANDLE, CK_OBJECT_HANDLE* object, CK_ULONG, CK_ULONG* count) -> CK_RV {
        *object = nextHandle++;
        *count = 1;
        return CKR_OK;
    };
    list->C_DestroyObject = [](CK_SESSION_HANDLE, CK_OBJECT_HANDLE) -> CK_RV { return CKR_OK; };
    slot = {1, &library, 0};
    other = {2, &library, 0};
    on(library, LIBRARY(libInitialize));
}

Thing open(Thing& in = slot)
{
    on(in, SLOT(openSession), 6, nullptr);
    return made;
}

Thing find(Thing& session)
{
    on(session, SESSION(findObject));
    return made;
}

// Does something in a process of its own.
template <typename Work>
void apart(Work work)
{
    std::fflush(stdout);
    if (fork() == 0) {
        work();
        std::fflush(stdout);
        _exit(0);
    }
    wait(nullptr);
}

// The longest time that a thread needs for one call in a session of another slot while work() goes on, in milliseconds.
template <typename Work>
double longestWait(Work work)
{
    Thing session = open(other);
    std::atomic<bool> done = false;
    std::atomic<bool> running = false;
    double longest = 0;
    std::thread asking([&] {
        running = true;
        while (!done) {
            auto start = Clock::now();
            on(session, SESSION(getInfo));
            longest = std::max(longest, std::chrono::duration<double, std::milli>(Clock::now() - start).count());
        }
    });
    while (!running)
        std::this_thread::yield();
    work();
    done = true;
    asking.join();
    return longest;
}

void printWait(const char* what, double milliseconds)
{
    std::printf("%-78s %8.1f ms\n", what, milliseconds);
}

void printMemory(const char* what, long kilobytes)
{
    std::printf("%-78s %8.2f MB\n", what, double(kilobytes) / 1024);
}

template <typename Work>
double nanoseconds(Work work)
{
    constexpr int kRounds = 2'000'000;
    double best = 1e9;
    for (int round = 0; round < 5; ++round) {
        auto start = Clock::now();
        for (int i = 0; i < kRounds; ++i)
            work();
        best = std::min(best, std::chrono::duration<double, std::nano>(Clock::now() - start).count() / kRounds);
    }
    return best;
}

void measureMemory()
{
    apart([] {
        mlockall(MCL_CURRENT | MCL_FUTURE);
        long locked = memory("VmLck"), data = memory("VmData");
        loadModule();
        printMemory("a process that locks all its memory: what loading a module adds", memory("VmLck") - locked);
        printMemory("    of which data, that is to say promised memory", memory("VmData") - data);
        locked = memory("VmLck");
        Thing session = open();
        printMemory("    its first wide session", memory("VmLck") - locked);
        for (int i = 0; i < 1000; ++i)
            find(session);
        printMemory("    and 1,000 objects", memory("VmLck") - locked);
    });
    apart([] {
        loadModule();
        Thing session = open();
        long before = memory("VmRSS");
        for (int i = 0; i < 10'000; ++i)
            find(session);
        printMemory("10,000 objects found", memory("VmRSS") - before);
    });
    apart([] {
        loadModule();
        Thing session = open();
        long before = memory("VmRSS");
        for (int i = 0; i < 20'000'000; ++i) {
            Thing object = find(session);
            on(object, OBJECT(destroy));
        }
        printMemory("20 million objects found and destroyed one at a time", memory("VmRSS") - before);
    });
    apart([] {
        loadModule();
        long before = memory("VmRSS");
        int refused = 0;
        for (int i = 0; i < 20'000'000; ++i) {
            Thing session = open();
            refused += on(session, SESSION(createObject), nullptr, nullptr).empty() ? 0 : 1;
            on(session, SESSION(close));
        }
        printMemory("one key in each of 20 million sessions, never destroyed", memory("VmRSS") - before);
        std::printf("%-78s %8d\n", "    keys refused", refused);
    });
    apart([] {
        loadModule();
        Thing session = open();
        long before = memory("VmRSS");
        for (int i = 0; i < 10'000'000; ++i)
            find(session);
        printMemory("10 million objects at once", memory("VmRSS") - before);
        on(slot, SLOT(closeAllSessions));
        on(library, LIBRARY(libFinalize));
        printMemory("    after the library's end", memory("VmRSS") - before);
    });
}

void measureWaits()
{
    apart([] {
        loadModule();
        Thing session = open();
        printWait("longest wait of another thread: nothing to wait for, for 3 s", longestWait([] {
                      for (auto start = Clock::now(); Clock::now() - start < std::chrono::seconds(3);)
                          ;
                  }));
        printWait("    finding 10 million objects", longestWait([&session] {
                      for (int i = 0; i < 10'000'000; ++i)
                          find(session);
                  }));
        // Of another library's thread, since this one's calls are waited for.
        Thing held;
        load(held, modulePath);
        printWait("    destroying 100,000 of them", longestWait([&session] {
                      for (jint i = 0; i < 100'000; ++i) {
                          Thing object = {static_cast<jint>(0x60000000 + 97 * i), &session, 0};
                          on(object, OBJECT(destroy));
                      }
                  }));
    });
    apart([] {
        loadModule();
        for (int i = 0; i < 1'000'000; ++i)
            open();
        printWait("    closeAllSessions with a million sessions",
                  longestWait([] { on(slot, SLOT(closeAllSessions)); }));
        open();
        printWait("    the same with one session left", longestWait([] { on(slot, SLOT(closeAllSessions)); }));
    });
    apart([] {
        loadModule();
        Thing session = open();
        for (int i = 0; i < 10'000'000; ++i)
            find(session);
        // Somebody else waits for the bridge lock.
        std::atomic<bool> done = false;
        double longest = 0;
        std::thread locking([&done, &longest] {
            while (!done) {
                auto start = Clock::now();
                {
                    std::lock_guard<std::recursive_mutex> lock(monitor);
                }
                longest = std::max(longest, std::chrono::duration<double, std::milli>(Clock::now() - start).count());
                std::this_thread::yield();
            }
        });
        auto start = Clock::now();
        on(library, LIBRARY(libFinalize));
        double took = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
        done = true;
        locking.join();
        printWait("    for the bridge lock: libFinalize with 10 million objects", longest);
        printWait("    which takes itself", took);
    });
}

void measureCalls()
{
    apart([] {
        loadModule();
        Thing narrow = {7, &slot, 0};
        Thing session = open();
        Thing narrowObject = {9, &narrow, 0};
        Thing object = find(session);
        auto info = [](Thing& of) { return nanoseconds([&of] { on(of, SESSION(getInfo)); }); };
        auto size = [](Thing& of) { return nanoseconds([&of] { on(of, OBJECT(size)); }); };
        double before = info(narrow), wide = info(session);
        std::printf("%-78s %8.1f ns\n", "a session that needs a number, beside one that does not", wide - before);
        before = size(narrowObject), wide = size(object);
        std::printf("%-78s %8.1f ns\n", "an object and its session", wide - before);
        for (int i = 0; i < 1'000'000; ++i)
            find(session);
        std::printf("%-78s %8.1f ns\n", "    beside a million others", size(object) - before);
    });
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2)
        return 2;
    modulePath = argv[1];
    measureCalls();
    measureMemory();
    measureWaits();
    return 0;
}
