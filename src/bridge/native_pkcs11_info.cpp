// The native methods of NativePKCS11 that describe a library and its slots.

#include "com_kelvane_pkcs11_nat_NativePKCS11.h"

#include "bridge/buffers.h"
#include "bridge/frame.h"
#include "bridge/stack_buffer.h"

namespace {

constexpr const char* kSlotClass = "com/kelvane/pkcs11/nat/NativePKCS11Slot";
constexpr const char* kSlotConstructor = "(Lcom/kelvane/pkcs11/nat/NativePKCS11;I)V";
constexpr const char* kBanner = "KELVANE tokbridge %I% (Evaluation copy)";

jobject newSlot(JNIEnv* env, jobject library, CK_SLOT_ID slot)
{
    if (!survivesJava(slot)) {
        throwTooWide(env, "slot id", slot);
        return nullptr;
    }
    return newJavaObject(env, kSlotClass, kSlotConstructor, library, toJava(slot));
}

} // namespace

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
    CK_ULONG capacity = 0;
    if (!checkResult(env, callGuarded(env, list, &CK_FUNCTION_LIST::C_GetSlotList, present, noSlots, &capacity)))
        return nullptr;

    StackBudget budget;
    EncodeBuffer scratch;
    RESERVE_STACK(budget, scratch, arraySize(capacity, sizeof(CK_SLOT_ID)));
    if (scratch.bytes == nullptr) {
        throwPKCS11Exception(env, 0, "alloca() failed");
        return nullptr;
    }
    auto* slots = reinterpret_cast<CK_SLOT_ID*>(scratch.bytes);
    CK_ULONG count = capacity;
    Outcome outcome = callGuarded(env, list, &CK_FUNCTION_LIST::C_GetSlotList, present, slots, &count);
    if (capacity == 0 && outcome.rv == CKR_BUFFER_TOO_SMALL) { // some modules return this for 0 slots
        count = 0;
        outcome.rv = CKR_OK;
    }
    if (!checkResult(env, outcome) || !require(env, count <= capacity, CKR_BUFFER_TOO_SMALL))
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
    constexpr auto function = &CK_FUNCTION_LIST::C_WaitForSlotEvent;
    Outcome outcome = wait == JNI_TRUE ? callUncounted(env, list, function, flags, &slot, reserved)
                                       : callGuarded(env, list, function, flags, &slot, reserved);
    if ((outcome.rv == CKR_NO_EVENT && wait != JNI_TRUE) || !checkResult(env, outcome))
        return nullptr;
    return newSlot(env, library, slot);
}
