// Many threads and the whole life of libraries: load, initialise, open, create, destroy, close, close all, finalise,
// all at once. For the thread sanitizer, and for what it cannot see: a call that meets C_Initialize, C_Finalize or
// C_CloseAllSessions in a module that locks by itself, or any call in one that does not; a handle of another thread.
// The arguments are files of the stub module, each a library of its own.

#include <array>
#include <atomic>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "check.h"
#include "fake_jni.h"
#include "module_functions.h"
#include "native_methods.h"

namespace {

constexpr int kThreads = 8;
constexpr int kRounds = 3000;

struct Module
{
    std::atomic<int> inside = 0;
    std::atomic<bool> isClosed = false; // to other calls, while one must be alone
    bool isInitialized = false;         // written by a call that is alone, read by all: the sanitizer sees a race
};

std::array<Module, 2> modules;                                            // the second depends on the bridge lock
std::atomic<CK_ULONG> lastHandle = static_cast<CK_ULONG>(0x7F0000000000); // as addresses are
std::atomic<int> wrong = 0;

thread_local std::size_t current; // the module that this thread calls
thread_local CK_ULONG session, object;

void expect(bool holds, const std::string& found)
{
    if (!holds)
        std::fprintf(stderr, "%d: %s\n", ++wrong, found.c_str());
}

// Makes a call that raises nothing, and returns its result.
template <typename Call>
Ref made(Call call, const std::string& expected = "")
{
    startOfCall();
    Ref result;
    if constexpr (std::is_void_v<decltype(call())>)
        call();
    else
        result = returned(call());
    endOfCall(0);
    std::string raised = fake.pending != nullptr ? show({fake.pending}) : "";
    expect(raised == expected && fake.complaints.empty(), raised + fake.complaints);
    return result;
}

#define METHOD(type, name) Java_com_kelvane_pkcs11_nat_NativePKCS11##type##_##name

// One holder's life in a library that others initialise and finalise, and whose sessions they close, at any moment.
void live(const char* file, bool closesAll)
{
    const std::string package = "com/kelvane/pkcs11/nat/NativePKCS11";
    forgetObjects();
    Ref library = make(package);
    made(
        [&] { library.object->fields["functionList:J"] = METHOD(, loadPKCS11Library)(env, nullptr, newString(file)); });
    Ref slot = make(package + "Slot", {{"slotID:I", 1}, {"pkcs11:L" + package + ";", address(library)}});
    made([&] { METHOD(, libInitialize)(env, library); });
    Ref opened = made([&] { return METHOD(Slot, openSession)(env, slot, 6, nullptr); });
    Ref created = made([&] { return METHOD(Session, createObject)(env, opened, nullptr, nullptr); });
    made([&] { METHOD(Object, size)(env, created); });
    made([&] { METHOD(Session, logout)(env, opened); });
    made([&] { METHOD(Object, destroy)(env, created); });
    made([&] { closesAll ? METHOD(Slot, closeAllSessions)(env, slot) : METHOD(Session, close)(env, opened); });
    made([&] { METHOD(, libFinalize)(env, library); });
    made([&] { METHOD(Session, logout)(env, opened); }, "PKCS11Exception('functionList is null')");
}

} // namespace

CK_RV carryOut(const char* name, const char* letters, const std::uint64_t* word)
{
    const std::string_view function = name;
    Module& module = modules[current];
    bool starts = function == "C_Initialize";
    bool isAlone = current == 1 || starts || function == "C_Finalize" || function == "C_CloseAllSessions";
    if (starts && current == 1 && word[0] != 0)
        return CKR_CANT_LOCK;
    expect(!module.isClosed.exchange(isAlone) && (module.inside++ == 0 || !isAlone),
           "meets another: " + std::string(name));
    expect(module.isInitialized != starts, "not initialised: " + std::string(name));
    if (starts || function == "C_Finalize")
        module.isInitialized = starts;
    if (function == "C_OpenSession")
        *reinterpret_cast<CK_ULONG*>(word[4]) = session = ++lastHandle;
    else if (*letters == 'n' && function != "C_CloseAllSessions")
        expect(word[0] == session, "the session of another thread: " + std::string(name));
    if (function == "C_CreateObject")
        *reinterpret_cast<CK_ULONG*>(word[3]) = object = ++lastHandle;
    else if (function == "C_GetObjectSize" || function == "C_DestroyObject")
        expect(word[1] == object, "the object of another thread: " + std::string(name));
    --module.inside;
    module.isClosed = false;
    return CKR_OK;
}

int main(int argc, char** argv)
{
    if (argc != 3)
        return 2;
    for (int i = 1; i <= 2; ++i) { // the lists are filled once; they stay where they are
        startOfCall();
        jlong list = METHOD(, loadPKCS11Library)(env, nullptr, newString(argv[i]));
        check("loaded", list != 0 ? "loaded" : show({fake.pending}));
        fillLists(reinterpret_cast<ModuleLists*>(list));
        Ref library = make("com/kelvane/pkcs11/nat/NativePKCS11", {{"functionList:J", list}});
        made([&] { METHOD(, libFinalize)(env, library); });
    }
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (int thread = 0; thread < kThreads; ++thread)
        threads.emplace_back([thread, argv] {
            current = static_cast<std::size_t>(thread % 2);
            for (int round = 0; round < kRounds; ++round)
                live(argv[1 + current], round % 7 == thread % 7);
        });
    for (std::thread& each : threads)
        each.join();
    check("0 wrong", std::to_string(wrong) + " wrong");
    return failures == 0 ? 0 : 1;
}
