// The native methods of NativePKCS11Slot that change its token or its sessions.

#include "com_kelvane_pkcs11_nat_NativePKCS11Slot.h"

#include <algorithm>
#include <array>

#include "bridge/frame.h"
#include "bridge/handles.h"
#include "marshal/pin_buffer.h"

namespace {

// C_CloseSession for a session that Java will never hold: no other caller has its handle. An exception may be pending.
void discardSession(JNIEnv* env, CK_FUNCTION_LIST_PTR list, CK_SESSION_HANDLE session)
{
    jthrowable first = stashPendingException(env);
    callGuarded(env, list, &CK_FUNCTION_LIST::C_CloseSession, session);
    restorePendingException(env, first);
}

} // namespace

void Java_com_kelvane_pkcs11_nat_NativePKCS11Slot_initToken(JNIEnv* env, jobject slot, jobject pin, jobject label)
{
    SlotHandles handles = {};
    if (!resolveSlot(env, slot, &handles))
        return;

    // 32 bytes padded with blanks; the zero behind them is for modules that read the label as a C string.
    std::array<CK_UTF8CHAR, 33> paddedLabel = {};
    CK_ULONG labelLength = paddedLabel.size() - 1;
    std::fill_n(paddedLabel.begin(), labelLength, CK_UTF8CHAR{' '});
    PinBuffer soPin;
    if (!copyStringBytes(env, label, paddedLabel.data(), &labelLength) || !readPin(env, pin, &soPin))
        return;

    checkResult(env, callGuarded(env, handles.list, &CK_FUNCTION_LIST::C_InitToken, handles.slot, soPin.bytes,
                                 soPin.length, paddedLabel.data()));
}

jobject Java_com_kelvane_pkcs11_nat_NativePKCS11Slot_openSession(JNIEnv* env, jobject slot, jint flags,
                                                                 jobject callback)
{
    if (callback != nullptr) {
        throwPKCS11Exception(env, 0, "Sorry, callbacks not supported!");
        return nullptr;
    }
    SlotHandles handles = {};
    if (!resolveSlot(env, slot, &handles))
        return nullptr;

    void* application = nullptr;
    CK_NOTIFY notify = nullptr;
    CK_SESSION_HANDLE session = 0;
    Outcome outcome = callGuarded(env, handles.list, &CK_FUNCTION_LIST::C_OpenSession, handles.slot, fromJava(flags),
                                  application, notify, &session);

    jobject result = checkResult(env, outcome) ? newNativeSession(env, slot, session) : nullptr;
    if (result == nullptr && outcome.rv == CKR_OK)
        discardSession(env, handles.list, session);
    return result;
}

void Java_com_kelvane_pkcs11_nat_NativePKCS11Slot_closeAllSessions(JNIEnv* env, jobject slot)
{
    SlotHandles handles = {};
    if (!resolveSlot(env, slot, &handles))
        return;

    // Some modules crash when a call is in progress in a session that is being closed.
    checkResult(env, callAlone(env, handles.list, &CK_FUNCTION_LIST::C_CloseAllSessions, handles.slot));
}
