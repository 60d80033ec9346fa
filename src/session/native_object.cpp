// The native methods of NativePKCS11Object that copy and destroy the object, and read its size and set its attributes.
// Values are encoded before the receiver is resolved, so that a wrong value is reported first.

#include "com_kelvane_pkcs11_nat_NativePKCS11Object.h"

#include "bridge/attribute_calls.h"
#include "bridge/frame.h"
#include "bridge/stack_buffer.h"
#include "marshal/attribute_kinds.h"
#include "marshal/template_encode.h"
#include "session/session_calls.h"

namespace {

// Stores one value whose kind its attribute must have.
void storeTyped(JNIEnv* env, jobject object, jint type, ValueKind kind, void* value, CK_ULONG size)
{
    CK_ATTRIBUTE attribute = {fromJava(type), value, size};
    if (attributeKind(attribute.type) != kind)
        throwPKCS11Exception(env, CKR_ATTRIBUTE_TYPE_INVALID);
    else
        storeObjectAttributes(env, object, &attribute, 1);
}

} // namespace

jobject Java_com_kelvane_pkcs11_nat_NativePKCS11Object_copy(JNIEnv* env, jobject object, jintArray types,
                                                            jobjectArray values)
{
    StackBudget budget;
    EncodedTemplate attributes;
    RESERVE_STACK(budget, attributes.buffer, openTemplate(env, types, values, &attributes));
    ObjectHandles handles = {};
    if (!encodeTemplate(env, &attributes) || !resolveObject(env, object, &handles))
        return nullptr;
    return copyObject(env, object, handles, attributes);
}

void Java_com_kelvane_pkcs11_nat_NativePKCS11Object_destroy(JNIEnv* env, jobject object)
{
    ObjectHandles handles = {};
    if (resolveObject(env, object, &handles))
        destroyObject(env, handles);
}

jint Java_com_kelvane_pkcs11_nat_NativePKCS11Object_size(JNIEnv* env, jobject object)
{
    ObjectHandles handles = {};
    if (!resolveObject(env, object, &handles))
        return 0;

    CK_ULONG size = 0;
    Outcome outcome =
        callGuarded(env, handles.list, &CK_FUNCTION_LIST::C_GetObjectSize, handles.session, handles.object, &size);
    return checkResult(env, outcome) ? toJava(size) : 0;
}

void Java_com_kelvane_pkcs11_nat_NativePKCS11Object_setAttributeValue(JNIEnv* env, jobject object, jint type,
                                                                      jobject value)
{
    std::size_t size = 0;
    if (!encodedValueSize(env, attributeKind(fromJava(type)), value, &size))
        return;
    StackBudget budget;
    EncodeBuffer buffer;
    RESERVE_STACK(budget, buffer, size);
    EncodeArea area = areaIn(buffer);
    CK_ATTRIBUTE attribute = {fromJava(type), nullptr, 0};
    if (encodeAttributeValue(env, value, &attribute, &area))
        storeObjectAttributes(env, object, &attribute, 1);
}

void Java_com_kelvane_pkcs11_nat_NativePKCS11Object_setAttributeValues(JNIEnv* env, jobject object, jintArray types,
                                                                       jobjectArray values)
{
    StackBudget budget;
    EncodedTemplate attributes;
    RESERVE_STACK(budget, attributes.buffer, openTemplate(env, types, values, &attributes));
    if (encodeTemplate(env, &attributes))
        storeObjectAttributes(env, object, attributes.entries, attributes.count);
}

void Java_com_kelvane_pkcs11_nat_NativePKCS11Object_setBoolAttributeValue(JNIEnv* env, jobject object, jint type,
                                                                          jboolean value)
{
    CK_BBOOL flag = value;
    storeTyped(env, object, type, ValueKind::boolean, &flag, sizeof flag);
}

void Java_com_kelvane_pkcs11_nat_NativePKCS11Object_setIntAttributeValue(JNIEnv* env, jobject object, jint type,
                                                                         jint value)
{
    CK_ULONG number = fromJava(value);
    storeTyped(env, object, type, ValueKind::integer, &number, sizeof number);
}
