// The native methods of NativePKCS11Slot that change its token or its sessions.

#include "com_kelvane_pkcs11_nat_NativePKCS11Slot.h"

#include <algorithm>
#include <array>

#include "frame.h"
#include "pin_buffer.h"

namespace {

jobject newSession(JNIEnv* env, jobject slot, const SlotHandles& handles, CK_SESSION_HANDLE session)
{
    jint number = 0;
    if (!sessionToJava(handles.list, handles.slot, session, &number)) {
        throwNoStandInLeft(env, "session", session, "close sessions");
        return nullptr;
    }
    return newJavaObject(env, "com/kelvane/pkcs11/nat/NativePKCS11Session",
                         "(Lcom/kelvane/pkcs11/nat/NativePKCS11Slot;I)V", slot, number);
}

} // namespace

void Java_com_kelvane_pkcs11_nat_NativePKCS11Slot_initToken(JNIEnv* env, jobject slot, jobject pin, jobject label)
{
    SlotHandles handles = {};
    if (!resolveSlot(env, slot, &handles))
        return;

    // 32 bytes padded with blanks; the zero behind them is for modules that take the label for a C string.
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

    CK_SESSION_HANDLE session = 0;
    void* application = nullptr;
    CK_NOTIFY notify = nullptr;
    if (!checkResult(env, callGuarded(env, handles.list, &CK_FUNCTION_LIST::C_OpenSession, handles.slot,
                                      fromJava(flags), application, notify, &session)))
        return nullptr;

    jobject opened = newSession(env, slot, handles, session);
    if (opened == nullptr) // nobody could ever close it
        discardSession(env, {handles.list, session, 0});
    return opened;
}

void Java_com_kelvane_pkcs11_nat_NativePKCS11Slot_closeAllSessions(JNIEnv* env, jobject slot)
{
    SlotHandles handles = {};
    if (!resolveSlot(env, slot, &handles))
        return;

    withdrawSessionsOf(handles.list, handles.slot);
    CK_RV rv = callGuarded(env, handles.list, &CK_FUNCTION_LIST::C_CloseAllSessions, handles.slot);
    settleSessionsOf(handles.list, handles.slot, rv);
    checkResult(env, rv);
}
