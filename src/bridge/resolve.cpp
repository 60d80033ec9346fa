#include "bridge/resolve.h"

#include "bridge/exception.h"
#include "bridge/fields.h"
#include "bridge/handles.h"
#include "bridge/java_numbers.h"

namespace {

constexpr const char* kLibrary = "Lcom/kelvane/pkcs11/nat/NativePKCS11;";
constexpr const char* kSlot = "Lcom/kelvane/pkcs11/nat/NativePKCS11Slot;";
constexpr const char* kSession = "Lcom/kelvane/pkcs11/nat/NativePKCS11Session;";

// The class of a link of the chain, or null after raising.
jclass classOfLink(JNIEnv* env, jobject link)
{
    if (link == nullptr) {
        throwPKCS11Exception(env, 0, "obj is null");
        return nullptr;
    }
    return env->GetObjectClass(link);
}

// From a slot to its library's list, through the field `pkcs11`.
bool resolveListOfSlot(JNIEnv* env, jobject slot, jclass slotClass, CK_FUNCTION_LIST_PTR* list)
{
    jobject library = nullptr;
    if (!readObjectField(env, slot, slotClass, "pkcs11", kLibrary, &library))
        return false;
    *list = resolveFunctionList(env, library);
    return *list != nullptr;
}

} // namespace

CK_FUNCTION_LIST_PTR resolveFunctionList(JNIEnv* env, jobject library)
{
    jclass type = classOfLink(env, library);
    if (type == nullptr)
        return nullptr;
    jfieldID field = env->GetFieldID(type, "functionList", "J");
    if (field == nullptr)
        return nullptr;

    jlong list = env->GetLongField(library, field);
    if (list == 0)
        throwPKCS11Exception(env, 0, "functionList is null");
    return reinterpret_cast<CK_FUNCTION_LIST_PTR>(list);
}

bool resolveSlot(JNIEnv* env, jobject slot, SlotHandles* handles)
{
    jclass type = classOfLink(env, slot);
    jint slotID = 0;
    if (type == nullptr || !readIntField(env, slot, type, "slotID", &slotID))
        return false;
    handles->slot = fromJava(slotID);
    return resolveListOfSlot(env, slot, type, &handles->list);
}

bool resolveSession(JNIEnv* env, jobject session, SessionHandles* handles)
{
    jclass type = classOfLink(env, session);
    jobject slot = nullptr;
    if (type == nullptr || !readHandle(env, session, type, "sessionID", &handles->session) ||
        !readObjectField(env, session, type, "slot", kSlot, &slot))
        return false;

    // The slot's id is not used here, but a slot class must have the field.
    jclass slotClass = classOfLink(env, slot);
    return slotClass != nullptr && env->GetFieldID(slotClass, "slotID", "I") != nullptr &&
           resolveListOfSlot(env, slot, slotClass, &handles->list);
}

bool resolveObject(JNIEnv* env, jobject object, ObjectHandles* handles)
{
    jclass type = classOfLink(env, object);
    jobject session = nullptr;
    SessionHandles of = {};
    if (type == nullptr || !readHandle(env, object, type, "objectID", &handles->object) ||
        !readObjectField(env, object, type, "session", kSession, &session) || !resolveSession(env, session, &of))
        return false;

    handles->list = of.list;
    handles->session = of.session;
    return true;
}

bool resolveSessionObject(JNIEnv* env, jobject session, jobject object, ObjectHandles* handles)
{
    if (session == nullptr)
        return refuse(env, "session is null");
    SessionHandles of = {};
    if (!resolveSession(env, session, &of))
        return false;

    handles->list = of.list;
    handles->session = of.session;
    return objectHandleOf(env, object, &handles->object);
}

bool objectHandleOf(JNIEnv* env, jobject object, CK_OBJECT_HANDLE* handle)
{
    jclass type = classOfLink(env, object);
    jint number = 0;
    return type != nullptr && readIntField(env, object, type, "objectID", &number) && number != 0 &&
           handleOfInt(env, object, type, number, handle);
}
