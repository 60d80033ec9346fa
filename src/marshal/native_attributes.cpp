// The native methods that read attributes: NativePKCS11Object reads its own object, NativePKCS11Session
// an object passed to it. A type of the wrong kind is reported before the receiver is resolved.

#include "com_kelvane_pkcs11_nat_NativePKCS11Object.h"
#include "com_kelvane_pkcs11_nat_NativePKCS11Session.h"

#include "bridge/frame.h"
#include "marshal/attribute_read.h"

namespace {

bool requireKind(JNIEnv* env, jint type, ValueKind kind)
{
    return require(env, attributeKind(fromJava(type)) == kind, CKR_ATTRIBUTE_TYPE_INVALID);
}

bool requireKnown(JNIEnv* env, jint type)
{
    return require(env, attributeKind(fromJava(type)) != ValueKind::unknown, CKR_ATTRIBUTE_TYPE_INVALID);
}

} // namespace

jboolean Java_com_kelvane_pkcs11_nat_NativePKCS11Object_getBoolAttributeValue(JNIEnv* env, jobject object, jint type)
{
    ObjectHandles handles = {};
    if (!requireKind(env, type, ValueKind::boolean) || !resolveObject(env, object, &handles))
        return JNI_FALSE;
    return readBoolean(env, handles, fromJava(type));
}

jint Java_com_kelvane_pkcs11_nat_NativePKCS11Object_getIntAttributeValue(JNIEnv* env, jobject object, jint type)
{
    ObjectHandles handles = {};
    if (!requireKind(env, type, ValueKind::integer) || !resolveObject(env, object, &handles))
        return 0;
    return readInteger(env, handles, fromJava(type));
}

jstring Java_com_kelvane_pkcs11_nat_NativePKCS11Object_getStringAttributeValue(JNIEnv* env, jobject object, jint type)
{
    ObjectHandles handles = {};
    if (!requireKind(env, type, ValueKind::string) || !resolveObject(env, object, &handles))
        return nullptr;
    return static_cast<jstring>(readString(env, handles, fromJava(type)));
}

jbyteArray Java_com_kelvane_pkcs11_nat_NativePKCS11Object_getByteArrayAttributeValue(JNIEnv* env, jobject object,
                                                                                     jint type)
{
    ObjectHandles handles = {};
    if (!resolveObject(env, object, &handles))
        return nullptr;
    return static_cast<jbyteArray>(readByteArray(env, handles, fromJava(type)));
}

jobject Java_com_kelvane_pkcs11_nat_NativePKCS11Object_getDateAttributeValue(JNIEnv* env, jobject object, jint type)
{
    ObjectHandles handles = {};
    if (!requireKind(env, type, ValueKind::date) || !resolveObject(env, object, &handles))
        return nullptr;
    return readDate(env, handles, fromJava(type));
}

jobject Java_com_kelvane_pkcs11_nat_NativePKCS11Object_getBigIntegerAttributeValue(JNIEnv* env, jobject object,
                                                                                   jint type)
{
    ObjectHandles handles = {};
    if (!requireKind(env, type, ValueKind::bigInteger) || !resolveObject(env, object, &handles))
        return nullptr;
    return readBigInteger(env, handles, fromJava(type));
}

jobject Java_com_kelvane_pkcs11_nat_NativePKCS11Object_getAttributeValue(JNIEnv* env, jobject object, jint type)
{
    ObjectHandles handles = {};
    if (!requireKnown(env, type) || !resolveObject(env, object, &handles))
        return nullptr;
    return readValue(env, handles, fromJava(type));
}

jboolean Java_com_kelvane_pkcs11_nat_NativePKCS11Session_getBoolAttributeValue(JNIEnv* env, jobject session,
                                                                               jobject object, jint type)
{
    ObjectHandles handles = {};
    if (!requireKind(env, type, ValueKind::boolean) || !resolveSessionObject(env, session, object, &handles))
        return JNI_FALSE;
    return readBoolean(env, handles, fromJava(type));
}

jint Java_com_kelvane_pkcs11_nat_NativePKCS11Session_getIntAttributeValue(JNIEnv* env, jobject session, jobject object,
                                                                          jint type)
{
    ObjectHandles handles = {};
    if (!requireKind(env, type, ValueKind::integer) || !resolveSessionObject(env, session, object, &handles))
        return 0;
    return readInteger(env, handles, fromJava(type));
}

jstring Java_com_kelvane_pkcs11_nat_NativePKCS11Session_getStringAttributeValue(JNIEnv* env, jobject session,
                                                                                jobject object, jint type)
{
    ObjectHandles handles = {};
    if (!requireKind(env, type, ValueKind::string) || !resolveSessionObject(env, session, object, &handles))
        return nullptr;
    return static_cast<jstring>(readString(env, handles, fromJava(type)));
}

jbyteArray Java_com_kelvane_pkcs11_nat_NativePKCS11Session_getByteArrayAttributeValue(JNIEnv* env, jobject session,
                                                                                      jobject object, jint type)
{
    ObjectHandles handles = {};
    if (!resolveSessionObject(env, session, object, &handles))
        return nullptr;
    return static_cast<jbyteArray>(readByteArray(env, handles, fromJava(type)));
}

jobject Java_com_kelvane_pkcs11_nat_NativePKCS11Session_getDateAttributeValue(JNIEnv* env, jobject session,
                                                                              jobject object, jint type)
{
    ObjectHandles handles = {};
    if (!requireKind(env, type, ValueKind::date) || !resolveSessionObject(env, session, object, &handles))
        return nullptr;
    return readDate(env, handles, fromJava(type));
}

jobject Java_com_kelvane_pkcs11_nat_NativePKCS11Session_getBigIntegerAttributeValue(JNIEnv* env, jobject session,
                                                                                    jobject object, jint type)
{
    ObjectHandles handles = {};
    if (!requireKind(env, type, ValueKind::bigInteger) || !resolveSessionObject(env, session, object, &handles))
        return nullptr;
    return readBigInteger(env, handles, fromJava(type));
}

jobject Java_com_kelvane_pkcs11_nat_NativePKCS11Session_getAttributeValue(JNIEnv* env, jobject session, jobject object,
                                                                          jint type)
{
    ObjectHandles handles = {};
    if (!requireKnown(env, type) || !resolveSessionObject(env, session, object, &handles))
        return nullptr;
    return readValue(env, handles, fromJava(type));
}

jobjectArray Java_com_kelvane_pkcs11_nat_NativePKCS11Session_getAttributeValues(JNIEnv* env, jobject session,
                                                                                jobject object, jintArray types,
                                                                                jint count)
{
    if (types != nullptr && (count < 0 || count > env->GetArrayLength(types))) {
        throwPKCS11Exception(env, CKR_DATA_INVALID);
        return nullptr;
    }
    // Never released: the array stays pinned, as callers have always seen it.
    jint* elements = types != nullptr ? env->GetIntArrayElements(types, nullptr) : nullptr;
    if (elements == nullptr) {
        throwPKCS11Exception(env, 0, "can't access attribute types array");
        return nullptr;
    }
    return readValues(env, session, object, elements, count);
}
