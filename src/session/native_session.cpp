// The native methods of NativePKCS11Session that manage a session: state, log-in, PINs, operation state, random
// numbers.

#include "com_kelvane_pkcs11_nat_NativePKCS11Session.h"

#include "bridge/buffers.h"
#include "bridge/frame.h"
#include "marshal/pin_buffer.h"
#include "session/session_calls.h"

namespace {

// C_GenerateRandom and C_SeedRandom differ only in the direction of the data: `releaseMode`.
template <typename Function>
void randomCall(JNIEnv* env, jobject session, jbyteArray array, jint offset, jint length, Function function,
                jint releaseMode)
{
    SessionHandles handles = {};
    PinnedBytes bytes = {};
    if (!resolveSession(env, session, &handles) || !getBuffer(env, array, offset, length, &bytes))
        return;

    Outcome outcome = callGuarded(env, handles.list, function, handles.session, bytes.data, bytes.length);

    releaseBuffer(env, bytes, releaseMode);
    checkResult(env, outcome);
}

// The handle of a key that may be absent. False when there is a key and its int is 0, with nothing raised.
bool optionalHandleOf(JNIEnv* env, jobject key, CK_OBJECT_HANDLE* handle)
{
    return key == nullptr || objectHandleOf(env, key, handle);
}

} // namespace

void Java_com_kelvane_pkcs11_nat_NativePKCS11Session_close(JNIEnv* env, jobject session)
{
    sessionCall(env, session, &CK_FUNCTION_LIST::C_CloseSession);
}

jobject Java_com_kelvane_pkcs11_nat_NativePKCS11Session_getInfo(JNIEnv* env, jobject session)
{
    SessionHandles handles = {};
    if (!resolveSession(env, session, &handles))
        return nullptr;

    CK_SESSION_INFO info = {};
    if (!checkResult(env, callGuarded(env, handles.list, &CK_FUNCTION_LIST::C_GetSessionInfo, handles.session, &info)))
        return nullptr;
    return newJavaObject(env, "com/kelvane/pkcs11/PKCS11SessionInfo", "(III)V", toJava(info.state), toJava(info.flags),
                         toJava(info.ulDeviceError));
}

void Java_com_kelvane_pkcs11_nat_NativePKCS11Session_login(JNIEnv* env, jobject session, jboolean securityOfficer,
                                                           jobject pin)
{
    loginCall(env, session, securityOfficer == JNI_TRUE ? CKU_SO : CKU_USER, pin);
}

void Java_com_kelvane_pkcs11_nat_NativePKCS11Session_logout(JNIEnv* env, jobject session)
{
    sessionCall(env, session, &CK_FUNCTION_LIST::C_Logout);
}

void Java_com_kelvane_pkcs11_nat_NativePKCS11Session_initPIN(JNIEnv* env, jobject session, jobject pin)
{
    SessionHandles handles = {};
    PinBuffer userPin;
    if (!resolveSession(env, session, &handles) || !readPin(env, pin, &userPin))
        return;

    checkResult(env, callGuarded(env, handles.list, &CK_FUNCTION_LIST::C_InitPIN, handles.session, userPin.bytes,
                                 userPin.length));
}

void Java_com_kelvane_pkcs11_nat_NativePKCS11Session_setPIN(JNIEnv* env, jobject session, jobject oldPin,
                                                            jobject newPin)
{
    SessionHandles handles = {};
    PinBuffer oldBytes;
    PinBuffer newBytes;
    if (!resolveSession(env, session, &handles) || !readPin(env, oldPin, &oldBytes) || !readPin(env, newPin, &newBytes))
        return;

    checkResult(env, callGuarded(env, handles.list, &CK_FUNCTION_LIST::C_SetPIN, handles.session, oldBytes.bytes,
                                 oldBytes.length, newBytes.bytes, newBytes.length));
}

jbyteArray Java_com_kelvane_pkcs11_nat_NativePKCS11Session_getOperationState(JNIEnv* env, jobject session)
{
    SessionHandles handles = {};
    if (!resolveSession(env, session, &handles))
        return nullptr;

    CK_BYTE_PTR noState = nullptr;
    CK_ULONG capacity = 0;
    if (!checkResult(env, callGuarded(env, handles.list, &CK_FUNCTION_LIST::C_GetOperationState, handles.session,
                                      noState, &capacity)))
        return nullptr;

    jbyteArray state = newByteArray(env, capacity);
    if (state == nullptr) {
        throwPKCS11Exception(env, 0, "getOperationState(): NewByteArray() failed");
        return nullptr;
    }
    PinnedBytes pinned = {};
    if (!pinArray(env, state, &pinned)) {
        throwPKCS11Exception(env, 0, "getOperationState(): can't get elements");
        return nullptr;
    }

    CK_ULONG length = capacity;
    Outcome outcome =
        callGuarded(env, handles.list, &CK_FUNCTION_LIST::C_GetOperationState, handles.session, pinned.data, &length);

    releaseBuffer(env, pinned, 0);
    if (!checkResult(env, outcome) || !require(env, length <= capacity, CKR_BUFFER_TOO_SMALL))
        return nullptr;
    return state;
}

void Java_com_kelvane_pkcs11_nat_NativePKCS11Session_setOperationState(JNIEnv* env, jobject session, jbyteArray state,
                                                                       jobject encryptionKey, jobject authenticationKey)
{
    SessionHandles handles = {};
    CK_OBJECT_HANDLE encryptionHandle = 0;
    CK_OBJECT_HANDLE authenticationHandle = 0;
    if (!optionalHandleOf(env, encryptionKey, &encryptionHandle) ||
        !optionalHandleOf(env, authenticationKey, &authenticationHandle) || !resolveSession(env, session, &handles))
        return;

    // A state that cannot be pinned is raised, and the module is still called, with a null pointer; Java sees the
    // exception raised first.
    PinnedBytes pinned = {};
    if (state == nullptr || !pinArray(env, state, &pinned))
        throwPKCS11Exception(env, 0, "setOperationState(): can't get elements");
    jthrowable first = stashPendingException(env);

    Outcome outcome = callGuarded(env, handles.list, &CK_FUNCTION_LIST::C_SetOperationState, handles.session,
                                  pinned.data, pinned.length, encryptionHandle, authenticationHandle);

    if (pinned.elements != nullptr)
        releaseBuffer(env, pinned, JNI_ABORT);
    checkResult(env, outcome);
    restorePendingException(env, first);
}

jboolean Java_com_kelvane_pkcs11_nat_NativePKCS11Session_getFunctionStatus(JNIEnv* env, jobject session)
{
    SessionHandles handles = {};
    if (!resolveSession(env, session, &handles))
        return JNI_FALSE;

    Outcome outcome = callGuarded(env, handles.list, &CK_FUNCTION_LIST::C_GetFunctionStatus, handles.session);
    return outcome.rv != CKR_FUNCTION_NOT_PARALLEL && checkResult(env, outcome) ? JNI_TRUE : JNI_FALSE;
}

void Java_com_kelvane_pkcs11_nat_NativePKCS11Session_cancelFunction(JNIEnv* env, jobject session)
{
    sessionCall(env, session, &CK_FUNCTION_LIST::C_CancelFunction);
}

void Java_com_kelvane_pkcs11_nat_NativePKCS11Session_generateRandom(JNIEnv* env, jobject session, jbyteArray buffer,
                                                                    jint offset, jint length)
{
    randomCall(env, session, buffer, offset, length, &CK_FUNCTION_LIST::C_GenerateRandom, 0);
}

void Java_com_kelvane_pkcs11_nat_NativePKCS11Session_seedRandom(JNIEnv* env, jobject session, jbyteArray seed,
                                                                jint offset, jint length)
{
    randomCall(env, session, seed, offset, length, &CK_FUNCTION_LIST::C_SeedRandom, JNI_ABORT);
}
