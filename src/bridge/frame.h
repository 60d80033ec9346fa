// The frame of every native call: resolve the handles, make one guarded Cryptoki call (guarded_call.h), raise what
// failed.
//
// Every function takes the calling thread's JNIEnv first. Unless it says otherwise, a function that fails has raised
// one PKCS11Exception, or leaves the virtual machine's own error pending (a class, field or method that was not found),
// and its caller returns a neutral value to Java at once. No JNI class, field or method ID is kept between calls.
#pragma once

#include <jni.h>

#include "bridge/java_numbers.h"

// ---- Raising ----

/// Raises a Cryptoki code, or the message when there is one. The first exception of a native call wins: with one
/// pending nothing happens. What fails on the way is printed to standard error. Always returns 0.
jint throwPKCS11Exception(JNIEnv* env, CK_RV code, const char* message = nullptr);

/// Raises a code or a message, as throwPKCS11Exception does, and returns false.
bool refuse(JNIEnv* env, CK_RV code);
bool refuse(JNIEnv* env, const char* message);

/// Raises the code unless the condition holds, and returns the condition.
bool require(JNIEnv* env, bool condition, CK_RV code);

/// Raises that a slot id does not fit into a Java int, naming its value.
void throwSlotTooWide(JNIEnv* env, CK_SLOT_ID slot);

/// Raises that there is no stand-in left for a handle, naming its value and what to do.
void throwNoStandInLeft(JNIEnv* env, const char* kind, CK_ULONG handle, const char* remedy);

/// Sets a pending exception aside, so that JNI may be used again, and hands it out; null when there is none.
/// restorePending gives it back.
jthrowable setPendingAside(JNIEnv* env);

/// Makes `first` the pending exception again, in place of one raised since. Nothing happens when it is null.
void restorePending(JNIEnv* env, jthrowable first);

// ---- Diagnostics ----

/// Whether the environment variable PKCS11DEBUG is set, to whatever value. Looked up at every use.
bool debugEnabled();

/// Prints to standard output, unflushed.
__attribute__((format(printf, 1, 2))) void debugPrint(const char* format, ...);

/// Flushes standard output.
void debugFlush();

/// Prints a fault of the bridge's own machinery to standard error and flushes it.
__attribute__((format(printf, 1, 2))) void reportFault(const char* format, ...);

// ---- The handle chain: object → session → slot → library ----

struct SlotHandles
{
    CK_FUNCTION_LIST_PTR list;
    CK_SLOT_ID slot;
};

struct SessionHandles
{
    CK_FUNCTION_LIST_PTR list;
    CK_SESSION_HANDLE session;
    jint sessionID; ///< the session's number in Java
};

struct ObjectHandles
{
    CK_FUNCTION_LIST_PTR list;
    CK_SESSION_HANDLE session;
    CK_OBJECT_HANDLE object;
    jint objectID; ///< the object's number in Java
};

/// The function list of a NativePKCS11, or null. Raises "obj is null" and "functionList is null".
CK_FUNCTION_LIST_PTR resolveFunctionList(JNIEnv* env, jobject library);

/// Reads a NativePKCS11Slot's id and function list. Raises "obj is null" for each null link and "functionList is null".
bool resolveSlot(JNIEnv* env, jobject slot, SlotHandles* handles);

/// Reads a NativePKCS11Session's handle and function list. Raises as resolveSlot does, and CKR_SESSION_HANDLE_INVALID
/// for a number that stands for no session any more.
bool resolveSession(JNIEnv* env, jobject session, SessionHandles* handles);

/// Reads a NativePKCS11Object's handle, its session's handle and the function list. Raises as resolveSession does, and
/// CKR_OBJECT_HANDLE_INVALID for a number that stands for no object any more.
bool resolveObject(JNIEnv* env, jobject object, ObjectHandles* handles);

/// Reads an object's handle and the handles of the session it is used in, which need not be its own. Raises
/// "session is null" and as resolveObject does; false without an exception when the object's number is 0.
bool resolveSessionObject(JNIEnv* env, jobject session, jobject object, ObjectHandles* handles);

/// Java's number of a key or object argument. 0 when it is 0 or the field is missing: a caller that gets 0 returns to
/// Java at once and raises nothing, since 0 is no object. A null object raises "obj is null".
jint objectNumberOf(JNIEnv* env, jobject object);

/// The handle that an object's number stands for. Raises CKR_OBJECT_HANDLE_INVALID for one that stands for none any
/// more.
bool objectOfNumber(JNIEnv* env, CK_FUNCTION_LIST_PTR list, jint number, CK_OBJECT_HANDLE* handle);

/// Reads the handle of a key or object argument; both steps of the above. False when the caller is to return to Java.
bool objectHandleOf(JNIEnv* env, CK_FUNCTION_LIST_PTR list, jobject object, CK_OBJECT_HANDLE* handle);

// ---- Reading Java fields ----
// False when the virtual machine's error is pending, as it is for a missing field. The caller owns the reference that
// readObjectField yields.

bool readIntField(JNIEnv* env, jobject object, jclass type, const char* name, jint* value);
bool readBooleanField(JNIEnv* env, jobject object, jclass type, const char* name, jboolean* value);
bool readByteField(JNIEnv* env, jobject object, jclass type, const char* name, jbyte* value);
bool readObjectField(JNIEnv* env, jobject object, jclass type, const char* name, const char* signature, jobject* value);

/// The named class when `object` is an instance of it; null for null, for another object and for a class that cannot be
/// found. The caller owns the reference.
jclass classIfInstance(JNIEnv* env, jobject object, const char* className);

/// What came of a class test. Where it failed, the virtual machine's error is pending and nothing else may be asked.
enum class Instance
{
    no,
    yes,
    failed,
};

Instance testInstance(JNIEnv* env, jobject object, const char* className);

/// Whether `object` is an instance of the named class, where nothing else is asked of the virtual machine if it is not.
bool isInstance(JNIEnv* env, jobject object, const char* className);

// ---- Building Java objects ----

/// Constructs an object, or returns null with the virtual machine's error pending.
jobject newJavaObject(JNIEnv* env, const char* className, const char* signature, ...);

/// Stores an object just made into an array and drops the reference to it. False when it is null, or on failure.
bool storeElement(JNIEnv* env, jobjectArray array, jsize index, jobject element);

/// Constructs a NativePKCS11Object for a number. The owner is its session, or another NativePKCS11Object whose session
/// it shares. Null on failure.
jobject newNativeObject(JNIEnv* env, jobject owner, jint number);

// ---- Attribute calls ----

/// One C_GetAttributeValue for `count` entries. Raises what is not CKR_OK.
bool fetchAttributes(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE* attributes, CK_ULONG count);

/// Resolves a NativePKCS11Object and makes one C_SetAttributeValue for `count` entries. Raises what is not CKR_OK.
bool storeObjectAttributes(JNIEnv* env, jobject object, CK_ATTRIBUTE* attributes, CK_ULONG count);
