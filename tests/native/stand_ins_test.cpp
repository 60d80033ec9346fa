// Handles by the million and by many threads at once, through the library's exports: no JVM, and a module whose session
// handles are pointers that it gives on at once, as an allocator does. The program's argument is the stub module's
// file.

#include <array>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "cryptoki.h"

#include "check.h"
#include "com_kelvane_pkcs11_nat_NativePKCS11.h"
#include "com_kelvane_pkcs11_nat_NativePKCS11Object.h"
#include "com_kelvane_pkcs11_nat_NativePKCS11Session.h"
#include "com_kelvane_pkcs11_nat_NativePKCS11Slot.h"

namespace {

constexpr jint kSessions = 1 << 20;
constexpr jint kObjects = 1 << 24;

// ---- Just enough of a JVM ----

// Every Java object: what its int field holds, the next link of the handle chain, and for the library its list.
struct Thing
{
    jint number;
    Thing* owner;
    jlong list;
};

thread_local Thing made;         // by the last call
thread_local std::string raised; // by the last call: a text, or a code

template <typename T>
T reference(const void* object)
{
    return reinterpret_cast<T>(const_cast<void*>(object));
}

jobject newObject(JNIEnv*, jclass, jmethodID constructor, va_list arguments)
{
    std::string signature = reference<const char*>(constructor);
    if (signature == "(I)V") // of an exception, as the next one
        raised = std::to_string(va_arg(arguments, int));
    else if (signature != "(Ljava/lang/String;)V")
        made = {0, va_arg(arguments, Thing*), 0}, made.number = va_arg(arguments, int);
    return reference<jobject>(&made);
}

JNINativeInterface_ functions()
{
    JNINativeInterface_ table = {};
    table.FindClass = [](JNIEnv*, const char* name) { return reference<jclass>(name); };
    table.GetObjectClass = [](JNIEnv*, jobject object) { return reference<jclass>(object); };
    table.IsInstanceOf = [](JNIEnv*, jobject, jclass) { return jboolean{JNI_FALSE}; };
    table.GetFieldID = [](JNIEnv*, jclass, const char* name, const char*) { return reference<jfieldID>(name); };
    table.GetMethodID = [](JNIEnv*, jclass, const char*, const char* type) { return reference<jmethodID>(type); };
    table.GetIntField = [](JNIEnv*, jobject object, jfieldID) { return reinterpret_cast<Thing*>(object)->number; };
    table.GetLongField = [](JNIEnv*, jobject object, jfieldID) { return reinterpret_cast<Thing*>(object)->list; };
    table.SetLongField = [](JNIEnv*, jobject, jfieldID, jlong) {};
    table.GetObjectField = [](JNIEnv*, jobject object, jfieldID) {
        return reference<jobject>(reinterpret_cast<Thing*>(object)->owner);
    };
    table.NewObjectV = newObject;
    table.NewStringUTF = [](JNIEnv*, const char* text) { return raised = text, reference<jstring>(text); };
    table.GetStringUTFLength = [](JNIEnv*, jstring text) {
        return static_cast<jsize>(std::strlen(reinterpret_cast<char*>(text)));
    };
    table.GetStringUTFChars = [](JNIEnv*, jstring text, jboolean*) { return reinterpret_cast<const char*>(text); };
    table.ReleaseStringUTFChars = [](JNIEnv*, jstring, const char*) {};
    table.ExceptionCheck = [](JNIEnv*) -> jboolean { return !raised.empty(); };
    table.ExceptionOccurred = [](JNIEnv*) { return jthrowable{}; };
    table.Throw = [](JNIEnv*, jthrowable) -> jint { return 0; };
    table.MonitorEnter = [](JNIEnv*, jobject) -> jint { return 0; };
    table.MonitorExit = [](JNIEnv*, jobject) -> jint { return 0; };
    table.DeleteLocalRef = [](JNIEnv*, jobject) {};
    return table;
}

const JNINativeInterface_ kFunctions = functions();
JNIEnv machine = {&kFunctions};
JNIEnv* const env = &machine;

// ---- The module ----

// A session's handle is the address of its block. The freed one is the next to be used.
struct Block
{
    std::atomic<CK_ULONG> openedWith; // the flags, by which a thread knows its own; 0 while it is free
    Block* nextFree;
};

std::vector<Block> blocks(kSessions + 64);
Block* freeBlocks;
std::mutex guard;
std::atomic<CK_OBJECT_HANDLE> nextObject = CK_OBJECT_HANDLE{1} << 40;

CK_RV openSession(CK_SLOT_ID, CK_FLAGS flags, void*, CK_NOTIFY, CK_SESSION_HANDLE* session)
{
    std::lock_guard<std::mutex> lock(guard);
    Block* block = freeBlocks;
    freeBlocks = block->nextFree;
    block->openedWith = flags;
    *session = reinterpret_cast<CK_SESSION_HANDLE>(block);
    return CKR_OK;
}

CK_RV closeSession(CK_SESSION_HANDLE session)
{
    {
        std::lock_guard<std::mutex> lock(guard);
        auto* block = reinterpret_cast<Block*>(session);
        if (block->openedWith == 0)
            return CKR_SESSION_HANDLE_INVALID;
        block->openedWith = 0;
        block->nextFree = freeBlocks;
        freeBlocks = block;
    }
    std::this_thread::yield(); // another thread gets the block before this call has returned
    return CKR_OK;
}

CK_RV getSessionInfo(CK_SESSION_HANDLE session, CK_SESSION_INFO* info)
{
    info->state = reinterpret_cast<Block*>(session)->openedWith;
    return info->state != 0 ? CKR_OK : CKR_SESSION_HANDLE_INVALID;
}

CK_RV findObjects(CK_SESSION_HANDLE, CK_OBJECT_HANDLE* objects, CK_ULONG, CK_ULONG* count)
{
    *objects = nextObject++;
    *count = 1;
    return CKR_OK;
}

// ---- Java's side ----

Thing library, slot, session;

std::string load(const char* path)
{
    raised.clear();
    library.list = Java_com_kelvane_pkcs11_nat_NativePKCS11_loadPKCS11Library(env, nullptr, reference<jstring>(path));
    auto* list = reinterpret_cast<CK_FUNCTION_LIST*>(library.list);
    list->C_Initialize = [](void*) -> CK_RV { return CKR_OK; };
    list->C_Finalize = [](void*) -> CK_RV { return CKR_OK; };
    list->C_OpenSession = openSession;
    list->C_CloseSession = closeSession;
    list->C_GetSessionInfo = getSessionInfo;
    list->C_FindObjects = findObjects;
    list->C_DestroyObject = [](CK_SESSION_HANDLE, CK_OBJECT_HANDLE) -> CK_RV { return CKR_OK; };
    list->C_GetObjectSize = [](CK_SESSION_HANDLE, CK_OBJECT_HANDLE object, CK_ULONG* size) -> CK_RV {
        return *size = object - (CK_OBJECT_HANDLE{1} << 40), CKR_OK;
    };
    slot = {1, &library, 0};
    Java_com_kelvane_pkcs11_nat_NativePKCS11_libInitialize(env, reference<jobject>(&library));
    return raised;
}

Thing open(jint flags)
{
    raised.clear();
    Java_com_kelvane_pkcs11_nat_NativePKCS11Slot_openSession(env, reference<jobject>(&slot), flags, nullptr);
    return made;
}

std::string close(Thing closed)
{
    raised.clear();
    Java_com_kelvane_pkcs11_nat_NativePKCS11Session_close(env, reference<jobject>(&closed));
    return raised;
}

Thing find()
{
    raised.clear();
    Java_com_kelvane_pkcs11_nat_NativePKCS11Session_findObject(env, reference<jobject>(&session));
    return made;
}

jint sizeOf(Thing object)
{
    raised.clear();
    return Java_com_kelvane_pkcs11_nat_NativePKCS11Object_size(env, reference<jobject>(&object));
}

// ---- The tests ----

// No number comes back while there are fresh ones.
std::vector<bool> seen(std::size_t{0x70000000});

bool isNew(const Thing& given)
{
    auto number = static_cast<std::size_t>(given.number);
    bool first = number >= 0x58000000 && number < 0x70000000 && !seen[number];
    if (number < seen.size())
        seen[number] = true;
    return first && raised.empty();
}

void testTenMillionSessions()
{
    int wrong = 0;
    for (int i = 0; i < 10'000'000; ++i)
        wrong += isNew(open(6)) && close(made).empty() ? 0 : 1;
    check("0 of ten million", std::to_string(wrong) + " of ten million");
}

void testEverySession()
{
    std::vector<Thing> all;
    for (jint i = 0; i < kSessions; ++i)
        all.push_back(isNew(open(i + 1)) ? made : Thing{});
    Block* before = freeBlocks;
    open(6);
    check("no number left for session handle 0x", raised.substr(0, 36));
    check(": close sessions or finalise the library", raised.substr(raised.find(':')));
    check("closed again", freeBlocks == before ? "closed again" : "left open");

    int wrong = 0;
    for (int i = 0; i < 1000; ++i) { // full all the time
        wrong += close(all[0]).empty() && isNew(open(1)) ? 0 : 1;
        all[0] = made;
    }
    check("0 old numbers", std::to_string(wrong) + " old numbers");

    for (jint i = 0; i < kSessions; ++i) {
        raised.clear();
        auto* each = reference<jobject>(&all[static_cast<std::size_t>(i)]);
        Java_com_kelvane_pkcs11_nat_NativePKCS11Session_getInfo(env, each);
        wrong += raised.empty() && close(all[static_cast<std::size_t>(i)]).empty() ? 0 : 1;
    }
    check("0 lost", std::to_string(wrong) + " lost");
}

void testEveryObject()
{
    int wrong = 0;
    Thing first = {};
    for (jint i = 0; i < kObjects; ++i) {
        wrong += isNew(find()) && (i % 1024 != 0 || sizeOf(made) == i) ? 0 : 1;
        first = i == 0 ? made : first;
    }
    find();
    check("0 wrong, no number left for object handle 0x10001000000: destroy objects or finalise the library",
          std::to_string(wrong) + " wrong, " + raised);
    Java_com_kelvane_pkcs11_nat_NativePKCS11Object_destroy(env, reference<jobject>(&first));
    check("room again", isNew(find()) ? "room again" : raised);
    check("0 " + std::to_string(CKR_OBJECT_HANDLE_INVALID), std::to_string(sizeOf(first)) + " " + raised);
}

// Each thread opens, asks and closes; a session that answers another's flags, or none, was mixed up or killed.
void testThreads()
{
    std::atomic<int> wrong = 0;
    std::vector<std::thread> threads;
    for (jint thread = 1; thread <= 8; ++thread)
        threads.emplace_back([thread, &wrong] {
            for (int round = 0; round < 100'000; ++round) {
                Thing mine = open(thread);
                bool opened = raised.empty();
                Java_com_kelvane_pkcs11_nat_NativePKCS11Session_getInfo(env, reference<jobject>(&mine));
                wrong += opened && raised.empty() && close(mine).empty() ? 0 : 1;
                wrong += close(mine) == std::to_string(CKR_SESSION_HANDLE_INVALID) ? 0 : 1;
            }
        });
    for (std::thread& each : threads)
        each.join();
    check("0 mixed up", std::to_string(wrong) + " mixed up");
}

} // namespace

int main(int, char** argv)
{
    for (Block& each : blocks)
        each.nextFree = std::exchange(freeBlocks, &each);

    check("", load(argv[1]));
    session = open(6);
    check("", raised);
    testTenMillionSessions();
    check("", close(session));
    testEverySession();
    testThreads();
    session = open(6);
    testEveryObject();
    Thing late = session;
    Java_com_kelvane_pkcs11_nat_NativePKCS11_libFinalize(env, reference<jobject>(&library));
    check("", load(argv[1]));
    check(std::to_string(CKR_SESSION_HANDLE_INVALID), close(late)); // of the library's former life
    session = open(6);
    check("a fresh number", isNew(find()) ? "a fresh number" : raised);
    std::fprintf(stderr, "%d failures\n", failures);
    return failures == 0 ? 0 : 1;
}
