#include "bridge/handles.h"

#include "bridge/exception.h"
#include "bridge/fields.h"
#include "bridge/java_numbers.h"

namespace {

constexpr jint kMarker = -1;

// A class whose objects hold handles, its two constructors, and the name of its handles in messages.
struct HandleClass
{
    const char* name;
    const char* ofInt;
    const char* ofLong;
    const char* noun;
};

constexpr HandleClass kSession = {"com/kelvane/pkcs11/nat/NativePKCS11Session",
                                  "(Lcom/kelvane/pkcs11/nat/NativePKCS11Slot;I)V",
                                  "(Lcom/kelvane/pkcs11/nat/NativePKCS11Slot;J)V", "session handle"};
constexpr HandleClass kObject = {"com/kelvane/pkcs11/nat/NativePKCS11Object",
                                 "(Lcom/kelvane/pkcs11/nat/NativePKCS11Session;I)V",
                                 "(Lcom/kelvane/pkcs11/nat/NativePKCS11Session;J)V", "object handle"};

bool fitsInt(CK_ULONG handle)
{
    return handle < fromJava(kMarker);
}

jobject newWide(JNIEnv* env, jclass type, const HandleClass& names, jobject owner, CK_ULONG handle)
{
    // Without the field the object would lose its handle, even if it has the constructor.
    jmethodID constructor = env->GetMethodID(type, "<init>", names.ofLong);
    if (constructor != nullptr && env->GetFieldID(type, "handle", "J") != nullptr)
        return env->NewObject(type, constructor, owner, static_cast<jlong>(handle));
    if (clearPendingException(env, "java/lang/NoSuchMethodError") ||
        clearPendingException(env, "java/lang/NoSuchFieldError"))
        throwTooWide(env, names.noun, handle);
    return nullptr;
}

// Constructs an object and deletes the reference to its class.
jobject construct(JNIEnv* env, jclass type, const HandleClass& names, jobject owner, CK_ULONG handle, bool fits)
{
    jobject object = nullptr;
    if (!fits)
        object = newWide(env, type, names, owner, handle);
    else if (jmethodID constructor = env->GetMethodID(type, "<init>", names.ofInt))
        object = env->NewObject(type, constructor, owner, toJava(handle));
    env->DeleteLocalRef(type);
    return object;
}

jobject newObject(JNIEnv* env, jobject owner, CK_OBJECT_HANDLE handle, bool fits)
{
    jclass type = env->FindClass(kObject.name);
    if (type == nullptr)
        return nullptr;
    jobject session = owner;
    if (owner != nullptr && env->IsInstanceOf(owner, type) == JNI_TRUE &&
        !readObjectField(env, owner, type, "session", "Lcom/kelvane/pkcs11/nat/NativePKCS11Session;", &session))
        return nullptr;
    return construct(env, type, kObject, session, handle, fits);
}

} // namespace

bool readHandle(JNIEnv* env, jobject object, jclass type, const char* intField, CK_ULONG* handle)
{
    jint number = 0;
    return readIntField(env, object, type, intField, &number) && handleOfInt(env, object, type, number, handle);
}

bool handleOfInt(JNIEnv* env, jobject object, jclass type, jint number, CK_ULONG* handle)
{
    *handle = fromJava(number);
    if (number != kMarker)
        return true;

    jfieldID field = env->GetFieldID(type, "handle", "J");
    if (field == nullptr)
        return clearPendingException(env, "java/lang/NoSuchFieldError");
    *handle = static_cast<CK_ULONG>(env->GetLongField(object, field));
    return true;
}

jobject newNativeSession(JNIEnv* env, jobject slot, CK_SESSION_HANDLE handle)
{
    jclass type = env->FindClass(kSession.name);
    return type != nullptr ? construct(env, type, kSession, slot, handle, fitsInt(handle)) : nullptr;
}

jobject newNativeObject(JNIEnv* env, jobject owner, CK_OBJECT_HANDLE handle)
{
    return newObject(env, owner, handle, fitsInt(handle));
}

jobject newFoundObject(JNIEnv* env, jobject owner, CK_OBJECT_HANDLE handle)
{
    return newObject(env, owner, handle, fitsInt(handle) && handle != 0);
}
