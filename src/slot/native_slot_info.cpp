// The native methods of NativePKCS11Slot that describe a slot, its token and its mechanisms.

#include "com_kelvane_pkcs11_nat_NativePKCS11Slot.h"

#include <algorithm>

#include "bridge/buffers.h"
#include "bridge/frame.h"
#include "bridge/stack_buffer.h"

namespace {

// Writes the types of `list` behind it, each once, and returns their number. The scan is quadratic: lists are short,
// and their order is kept.
CK_ULONG collectUnique(CK_MECHANISM_TYPE* list, CK_ULONG count)
{
    CK_MECHANISM_TYPE* unique = list + count;
    for (CK_ULONG i = 0; i < count; ++i) {
        if (std::find(list, list + i, list[i]) == list + i)
            *unique++ = list[i];
    }
    return static_cast<CK_ULONG>(unique - (list + count));
}

} // namespace

jobject Java_com_kelvane_pkcs11_nat_NativePKCS11Slot_getInfo(JNIEnv* env, jobject slot)
{
    SlotHandles handles = {};
    if (!resolveSlot(env, slot, &handles))
        return nullptr;

    CK_SLOT_INFO info = {};
    if (!checkResult(env, callGuarded(env, handles.list, &CK_FUNCTION_LIST::C_GetSlotInfo, handles.slot, &info)))
        return nullptr;

    jstring manufacturer = nullptr;
    jstring description = nullptr;
    if (!newStringFromField(env, info.manufacturerID, &manufacturer) ||
        !newStringFromField(env, info.slotDescription, &description))
        return nullptr;
    return newJavaObject(env, "com/kelvane/pkcs11/PKCS11SlotInfo", "(Ljava/lang/String;Ljava/lang/String;III)V",
                         description, manufacturer, toJava(info.flags), toJava(info.hardwareVersion),
                         toJava(info.firmwareVersion));
}

jobject Java_com_kelvane_pkcs11_nat_NativePKCS11Slot_getTokenInfo(JNIEnv* env, jobject slot)
{
    SlotHandles handles = {};
    if (!resolveSlot(env, slot, &handles))
        return nullptr;

    CK_TOKEN_INFO info = {};
    if (!checkResult(env, callGuarded(env, handles.list, &CK_FUNCTION_LIST::C_GetTokenInfo, handles.slot, &info)))
        return nullptr;

    jstring time = nullptr; // null for a token without a clock
    jstring serialNumber = nullptr;
    jstring model = nullptr;
    jstring manufacturer = nullptr;
    jstring label = nullptr;
    if (((info.flags & CKF_CLOCK_ON_TOKEN) != 0 && !newStringFromField(env, info.utcTime, &time)) ||
        !newStringFromField(env, info.serialNumber, &serialNumber) || !newStringFromField(env, info.model, &model) ||
        !newStringFromField(env, info.manufacturerID, &manufacturer) || !newStringFromField(env, info.label, &label))
        return nullptr;
    return newJavaObject(
        env, "com/kelvane/pkcs11/PKCS11TokenInfo",
        "(Ljava/lang/String;Ljava/lang/String;Ljava/lang/String;Ljava/lang/String;IIIIIIIIIIIIILjava/lang/String;)V",
        label, manufacturer, model, serialNumber, toJava(info.flags), toJava(info.ulMaxSessionCount),
        toJava(info.ulSessionCount), toJava(info.ulMaxRwSessionCount), toJava(info.ulRwSessionCount),
        toJava(info.ulMaxPinLen), toJava(info.ulMinPinLen), toJava(info.ulTotalPublicMemory),
        toJava(info.ulFreePublicMemory), toJava(info.ulTotalPrivateMemory), toJava(info.ulFreePrivateMemory),
        toJava(info.hardwareVersion), toJava(info.firmwareVersion), time);
}

jintArray Java_com_kelvane_pkcs11_nat_NativePKCS11Slot_getMechanismList(JNIEnv* env, jobject slot)
{
    SlotHandles handles = {};
    if (!resolveSlot(env, slot, &handles))
        return nullptr;

    CK_MECHANISM_TYPE* noTypes = nullptr;
    CK_ULONG capacity = 0;
    if (!checkResult(env, callGuarded(env, handles.list, &CK_FUNCTION_LIST::C_GetMechanismList, handles.slot, noTypes,
                                      &capacity)))
        return nullptr;

    StackBudget budget;
    EncodeBuffer scratch;
    RESERVE_STACK(budget, scratch, arraySize(capacity, 2 * sizeof(CK_MECHANISM_TYPE)));
    if (scratch.bytes == nullptr) {
        throwPKCS11Exception(env, 0, "getMechanismList(): alloca() failed");
        return nullptr;
    }
    auto* types = reinterpret_cast<CK_MECHANISM_TYPE*>(scratch.bytes);
    CK_ULONG count = capacity;
    if (!checkResult(
            env, callGuarded(env, handles.list, &CK_FUNCTION_LIST::C_GetMechanismList, handles.slot, types, &count)) ||
        !require(env, count <= capacity, CKR_BUFFER_TOO_SMALL))
        return nullptr;

    CK_ULONG uniqueCount = collectUnique(types, count);
    return newIntArray(env, types + count, uniqueCount, "getMechanismList(): NewIntArray() failed");
}

jobject Java_com_kelvane_pkcs11_nat_NativePKCS11Slot_getMechanismInfo(JNIEnv* env, jobject slot, jint type)
{
    SlotHandles handles = {};
    if (!resolveSlot(env, slot, &handles))
        return nullptr;

    CK_MECHANISM_INFO info = {};
    if (!checkResult(env, callGuarded(env, handles.list, &CK_FUNCTION_LIST::C_GetMechanismInfo, handles.slot,
                                      fromJava(type), &info)))
        return nullptr;
    return newJavaObject(env, "com/kelvane/pkcs11/PKCS11MechanismInfo", "(III)V", toJava(info.ulMinKeySize),
                         toJava(info.ulMaxKeySize), toJava(info.flags));
}
