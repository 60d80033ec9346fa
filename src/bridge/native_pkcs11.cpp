// The native methods of NativePKCS11 that load, initialise and finalise a library.

#include "com_kelvane_pkcs11_nat_NativePKCS11.h"

#include "bridge/frame.h"
#include "bridge/module_load.h"
#include "bridge/platform.h"

namespace {

// Calls C_Initialize, once more without locking for a library that cannot lock, and records the result. The caller
// holds the bridge lock: of two threads that initialise one library the second finds it initialised.
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

// Clears the object's function list.
CK_FUNCTION_LIST_PTR takeLibrary(JNIEnv* env, jobject library, jfieldID field)
{
    // Read again: another thread may have finalised the same object meanwhile.
    auto* list = reinterpret_cast<CK_FUNCTION_LIST_PTR>(env->GetLongField(library, field));
    if (list != nullptr)
        env->SetLongField(library, field, 0);
    return list;
}

// Ends the library after its last holder has released it.
CK_RV endLibrary(CK_FUNCTION_LIST_PTR list)
{
    CK_RV rv = libraryState(list).initialized
                   ? callModule(list, &CK_FUNCTION_LIST::C_Finalize, static_cast<void*>(nullptr))
                   : CKR_OK;
    removeLibrary(list);
    return rv;
}

} // namespace

jlong Java_com_kelvane_pkcs11_nat_NativePKCS11_loadPKCS11Library(JNIEnv* env, jobject /*library*/, jstring path)
{
    ModuleFunctions module = loadModule(env, path);
    if (module.list == nullptr)
        return 0;

    Held held = lock(env);
    bool registered = retainLibrary(module.list, module.extended);
    unlock(env, held, CKR_OK);

    if (!registered)
        throwPKCS11Exception(env, 0, "too many different libraries referenced!");
    return reinterpret_cast<jlong>(module.list);
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

    // An unknown library is initialised too; its exception is the one that Java sees.
    jthrowable first = stashPendingException(env);
    Held held = lock(env);
    // Read again: another thread may have finalised the same object meanwhile.
    list = resolveFunctionList(env, library);
    CK_RV rv = list != nullptr ? initialize(list) : CKR_OK;
    checkResult(env, unlock(env, held, rv));
    restorePendingException(env, first);
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
    CallCounts* counts = release == Release::last ? suspendCalls(list) : nullptr;
    awaitCallsUnlocked(env, &held, counts);
    bool last = release == Release::last && !reacquiredOrRemoved(list);
    CK_RV rv = last ? endLibrary(list) : CKR_OK;
    resumeCalls(list, counts);
    Outcome outcome = unlock(env, held, rv);

    if (checkResult(env, outcome) && list == nullptr)
        throwPKCS11Exception(env, 0, "functionList is null");
    else if (release == Release::unknown)
        throwPKCS11Exception(env, 0, "attempt to finalize invalid DLL");
}
