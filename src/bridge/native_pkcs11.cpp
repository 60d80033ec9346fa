// The native methods of NativePKCS11: loading a library, initialising and finalising it, and what it tells of itself.

#include "com_kelvane_pkcs11_nat_NativePKCS11.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "bridge/buffers.h"
#include "bridge/diagnostics.h"
#include "bridge/frame.h"
#include "bridge/platform.h"
#include "bridge/stack_buffer.h"

namespace {

constexpr const char* kSlotClass = "com/kelvane/pkcs11/nat/NativePKCS11Slot";
constexpr const char* kSlotConstructor = "(Lcom/kelvane/pkcs11/nat/NativePKCS11;I)V";
constexpr const char* kBanner = "KELVANE tokbridge %I% (Evaluation copy)";

// Holds a path of 255 bytes and its terminator; a message quotes a path whole.
using PathBuffer = std::array<char, 256>;
using MessageBuffer = std::array<char, PathBuffer{}.size() + 32>;

// Copies the path into the buffer. False after raising.
bool readPath(JNIEnv* env, jstring path, PathBuffer* buffer)
{
    if (path == nullptr)
        return refuse(env, "GetStringUTFChars() failed");
    auto size = static_cast<std::size_t>(fromJava(env->GetStringUTFLength(path)));
    if (size > buffer->size())
        return refuse(env, "copyStringBytes(): buffer too small for string!");
    const char* characters = env->GetStringUTFChars(path, nullptr);
    if (characters == nullptr)
        return refuse(env, "GetStringUTFChars() failed");
    std::memcpy(buffer->data(), characters, size);
    env->ReleaseStringUTFChars(path, characters);

    // A path of exactly the buffer's size leaves no room for the terminator: the process stops here, on purpose.
    if (size == buffer->size())
        std::abort();
    (*buffer)[size] = 0;
    return true;
}

// Loads the module and asks it for its function list. Null after raising.
CK_FUNCTION_LIST_PTR loadFunctionList(JNIEnv* env, const char* path)
{
    FloatingPointKeeper keeper;
    MessageBuffer message;
    void* module = openModule(path);
    if (module == nullptr) {
        std::array<char, 512> reason;
        moduleError(reason.data(), reason.size());
        if (debugEnabled()) {
            debugPrint("tokbridge:  %s\n", reason.data());
            debugFlush();
        }
        std::snprintf(message.data(), message.size(), "LoadLibrary(\"%s\") failed", path);
        throwPKCS11Exception(env, 0, message.data());
        return nullptr;
    }

    auto getFunctionList = reinterpret_cast<CK_C_GetFunctionList>(findModuleSymbol(module, "C_GetFunctionList"));
    if (getFunctionList == nullptr) {
        throwPKCS11Exception(env, 0, "GetProcAddress(\"C_GetFunctionList\") failed");
        return nullptr;
    }

    CK_FUNCTION_LIST_PTR list = nullptr;
    if (getFunctionList(&list) != CKR_OK || list == nullptr) {
        throwPKCS11Exception(env, 0, "C_GetFunctionList() failed");
        return nullptr;
    }

    if (list->version.major != 2) {
        std::snprintf(message.data(), message.size(), "wrong Cryptoki version (%d.%02d)", list->version.major,
                      list->version.minor);
        throwPKCS11Exception(env, 0, message.data());
        return nullptr;
    }
    return list;
}

// Calls C_Initialize, once more without locking for a library that cannot lock, and records what came of it. The caller
// holds the bridge lock: of two threads that initialise one library the second finds it done.
CK_RV initialize(CK_FUNCTION_LIST_PTR list)
{
    if (libraryState(list).initialized)
        return CKR_OK;
    if (list->C_Initialize == nullptr)
        return CKR_FUNCTION_NOT_SUPPORTED;

    FloatingPointKeeper keeper;
    CK_C_INITIALIZE_ARGS arguments = {};
    arguments.flags = CKF_OS_LOCKING_OK;

    CK_RV rv = list->C_Initialize(&arguments);
    bool threadSafe = rv == CKR_OK;
    if (rv == CKR_CANT_LOCK)
        rv = list->C_Initialize(nullptr);
    if (rv == CKR_OK)
        recordInitialization(list, threadSafe);
    return rv;
}

// Takes the library out of the object.
CK_FUNCTION_LIST_PTR takeLibrary(JNIEnv* env, jobject library, jfieldID field)
{
    // Read again: another thread may have finalised the same object meanwhile.
    auto* list = reinterpret_cast<CK_FUNCTION_LIST_PTR>(env->GetLongField(library, field));
    if (list != nullptr)
        env->SetLongField(library, field, 0);
    return list;
}

// Waits for calls that would meet a module that is gone. Other libraries go on meanwhile: the lock is given back for as
// long, and an error that kept it from being taken stays aside.
void awaitUnlocked(JNIEnv* env, Held* held, CK_FUNCTION_LIST_PTR list)
{
    unlock(env, {held->monitor, nullptr}, CKR_OK);
    awaitCalls(list);
    Held again = lock(env);
    *held = {again.monitor, held->first != nullptr ? held->first : again.first};
}

// What the last holder leaves to do. The stand-ins are taken, and left to the caller to give back.
CK_RV endLibrary(CK_FUNCTION_LIST_PTR list, StandInTable** standIns)
{
    CK_RV rv = libraryState(list).initialized
                   ? callModule(list, &CK_FUNCTION_LIST::C_Finalize, static_cast<void*>(nullptr))
                   : CKR_OK;
    *standIns = takeStandIns(list);
    removeLibrary(list);
    return rv;
}

jobject newSlot(JNIEnv* env, jobject library, CK_SLOT_ID slot)
{
    if (!survivesJava(slot)) {
        throwSlotTooWide(env, slot);
        return nullptr;
    }
    return newJavaObject(env, kSlotClass, kSlotConstructor, library, toJava(slot));
}

} // namespace

jlong Java_com_kelvane_pkcs11_nat_NativePKCS11_loadPKCS11Library(JNIEnv* env, jobject /*library*/, jstring path)
{
    PathBuffer buffer;
    if (!readPath(env, path, &buffer))
        return 0;
    CK_FUNCTION_LIST_PTR list = loadFunctionList(env, buffer.data());
    if (list == nullptr)
        return 0;

    Held held = lock(env);
    bool registered = retainLibrary(list);
    unlock(env, held, CKR_OK);

    if (!registered)
        throwPKCS11Exception(env, 0, "too many different libraries referenced!");
    return reinterpret_cast<jlong>(list);
}

void Java_com_kelvane_pkcs11_nat_NativePKCS11_libInitialize(JNIEnv* env, jobject library)
{
    CK_FUNCTION_LIST_PTR list = resolveFunctionList(env, library);
    if (list == nullptr)
        return;

    LibraryState state = libraryState(list);
    if (state.initialized)
        return;
    if (!state.known)
        throwPKCS11Exception(env, 0, "functionlist dll not found");

    // An unknown library is initialised all the same; its exception is the one that Java sees.
    jthrowable first = setPendingAside(env);
    Held held = lock(env);
    // Read again: another thread may have finalised the same object meanwhile.
    list = resolveFunctionList(env, library);
    CK_RV rv = list != nullptr ? initialize(list) : CKR_OK;
    checkResult(env, unlock(env, held, rv));
    restorePending(env, first);
}

void Java_com_kelvane_pkcs11_nat_NativePKCS11_libFinalize(JNIEnv* env, jobject library)
{
    if (library == nullptr) {
        throwPKCS11Exception(env, 0, "obj is null");
        return;
    }
    jclass type = env->GetObjectClass(library);
    jfieldID field = type != nullptr ? env->GetFieldID(type, "functionList", "J") : nullptr;
    if (field == nullptr)
        return;
    if (env->GetLongField(library, field) == 0) {
        throwPKCS11Exception(env, 0, "functionList is null");
        return;
    }

    Held held = lock(env);
    CK_FUNCTION_LIST_PTR list = takeLibrary(env, library, field);
    Release release = list != nullptr ? releaseLibrary(list) : Release::held;
    bool last = release == Release::last;
    if (last && callsInProgress(list)) {
        awaitUnlocked(env, &held, list);
        last = !takenOver(list);
    }
    StandInTable* standIns = nullptr;
    CK_RV rv = last ? endLibrary(list, &standIns) : CKR_OK;
    Outcome outcome = unlock(env, held, rv);

    giveBack(standIns);
    if (checkResult(env, outcome) && list == nullptr)
        throwPKCS11Exception(env, 0, "functionList is null");
    else if (release == Release::unknown)
        throwPKCS11Exception(env, 0, "attempt to finalize invalid DLL");
}

jobject Java_com_kelvane_pkcs11_nat_NativePKCS11_getInfo(JNIEnv* env, jobject library)
{
    CK_FUNCTION_LIST_PTR list = resolveFunctionList(env, library);
    if (list == nullptr)
        return nullptr;

    CK_INFO info = {};
    if (!checkResult(env, callGuarded(env, list, &CK_FUNCTION_LIST::C_GetInfo, &info)))
        return nullptr;

    jstring manufacturer = nullptr;
    jstring description = nullptr;
    jstring banner = nullptr;
    if (!newStringFromField(env, info.manufacturerID, &manufacturer) ||
        !newStringFromField(env, info.libraryDescription, &description) || !newStringFromText(env, kBanner, &banner))
        return nullptr;
    return newJavaObject(env, "com/kelvane/pkcs11/nat/NativePKCS11Info",
                         "(ILjava/lang/String;ILjava/lang/String;ILjava/lang/String;)V", toJava(info.cryptokiVersion),
                         manufacturer, toJava(info.flags), description, toJava(info.libraryVersion), banner);
}

jobjectArray Java_com_kelvane_pkcs11_nat_NativePKCS11_getSlotList(JNIEnv* env, jobject library, jboolean tokenPresent)
{
    CK_FUNCTION_LIST_PTR list = resolveFunctionList(env, library);
    if (list == nullptr)
        return nullptr;

    auto present = static_cast<CK_BBOOL>(tokenPresent);
    CK_SLOT_ID* noSlots = nullptr;
    CK_ULONG room = 0;
    if (!checkResult(env, callGuarded(env, list, &CK_FUNCTION_LIST::C_GetSlotList, present, noSlots, &room)))
        return nullptr;

    StackBudget budget;
    EncodeBuffer scratch;
    RESERVE_STACK(budget, scratch, arraySize(room, sizeof(CK_SLOT_ID)));
    if (scratch.bytes == nullptr) {
        throwPKCS11Exception(env, 0, "alloca() failed");
        return nullptr;
    }
    auto* slots = reinterpret_cast<CK_SLOT_ID*>(scratch.bytes);
    CK_ULONG count = room;
    Outcome outcome = callGuarded(env, list, &CK_FUNCTION_LIST::C_GetSlotList, present, slots, &count);
    if (room == 0 && outcome.rv == CKR_BUFFER_TOO_SMALL) { // of a module that finds no room for no slots
        count = 0;
        outcome.rv = CKR_OK;
    }
    if (!checkResult(env, outcome) || !require(env, count <= room, CKR_BUFFER_TOO_SMALL))
        return nullptr;

    jclass type = env->FindClass("com/kelvane/pkcs11/PKCS11Slot");
    jobjectArray result = type != nullptr ? env->NewObjectArray(toJava(count), type, nullptr) : nullptr;
    for (CK_ULONG i = 0; result != nullptr && i < count; ++i) {
        if (!storeElement(env, result, toJava(i), newSlot(env, library, slots[i])))
            return nullptr;
    }
    return result;
}

jobject Java_com_kelvane_pkcs11_nat_NativePKCS11_waitForSlotEvent(JNIEnv* env, jobject library, jboolean wait)
{
    CK_FUNCTION_LIST_PTR list = resolveFunctionList(env, library);
    if (list == nullptr)
        return nullptr;
    if (list->version.minor < 1) {
        throwPKCS11Exception(env, 0, "Function only available in Cryptoki 2.01!");
        return nullptr;
    }

    CK_FLAGS flags = wait == JNI_TRUE ? 0 : CKF_DONT_BLOCK;
    CK_SLOT_ID slot = 0;
    void* reserved = nullptr;
    Outcome outcome = callUncounted(env, list, &CK_FUNCTION_LIST::C_WaitForSlotEvent, flags, &slot, reserved);
    if ((outcome.rv == CKR_NO_EVENT && wait != JNI_TRUE) || !checkResult(env, outcome))
        return nullptr;
    return newSlot(env, library, slot);
}
