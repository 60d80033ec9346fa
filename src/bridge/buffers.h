// Java byte arrays and strings as native bytes, and back.
//
// Arrays are pinned whole. An array that is only read is released with JNI_ABORT, one that a module filled with mode 0
// (copy back), and every array with JNI_ABORT on a failure before the call. The function that pins releases. The
// virtual machine returns copies and frees them unwiped, so a copy that is not written back is wiped first: it may hold
// a PIN, a key or a plaintext.
#pragma once

#include <cstddef>
#include <cstring>

#include <jni.h>

#include "bridge/cryptoki.h"

/// A pinned byte array and the range of it that a call uses.
struct PinnedBytes
{
    jbyteArray array;
    jbyte* elements;  ///< element 0
    jsize size;       ///< the number of elements
    jboolean isCopy;  ///< whether they are a copy, which must be wiped
    CK_BYTE_PTR data; ///< the element at the offset
    CK_ULONG length;  ///< the bytes to read from there, or the capacity to write there
};

/// Pins `length` bytes at `offset` for reading. Raises 0x20 for null and for a negative offset or length; 0x150 for a
/// range that ends behind the array; "getBuffer(): can't get elements". The caller releases the array. The virtual
/// machine guarantees that the object is a byte[]: Java declares these parameters so.
bool getBuffer(JNIEnv* env, jbyteArray array, jint offset, jint length, PinnedBytes* pinned);

/// Pins everything from `offset` to the array's end for writing. Raises as getBuffer does; an offset equal to the array
/// length passes with a capacity of 0.
bool getOutputBuffer(JNIEnv* env, jbyteArray array, jint offset, PinnedBytes* pinned);

/// Pins a whole array, not null, for reading or writing. False when it cannot be pinned; only
/// the virtual machine's own error may be pending then.
bool pinArray(JNIEnv* env, jbyteArray array, PinnedBytes* pinned);

/// Releases a pinned array; `mode` is 0 (copy back) or JNI_ABORT (wiped).
void releaseBuffer(JNIEnv* env, const PinnedBytes& pinned, jint mode);

/// Copies a String's modified UTF-8 bytes or a byte[] to `dest`, unpadded and without a terminator. *len holds the
/// capacity on entry and the bytes written on success. Raises "Object must be String or byte[]!" (null included),
/// "copyStringBytes(): buffer too small for string!", "copyBytes(): buffer too small!", "GetStringUTFChars() failed",
/// "copyBytes(): can't get elements" or, for a null `dest`, "copyStringBytes(): no space for encoded String!".
bool copyStringBytes(JNIEnv* env, jobject value, unsigned char* dest, CK_ULONG* len);

/// The same for an object that is known to be a String; `tooLarge` is raised for one that exceeds the capacity.
bool copyString(JNIEnv* env, jstring value, unsigned char* dest, CK_ULONG* len, const char* tooLarge);

/// Copies `count` bytes into an existing array, or as many as it is long when `count` is 0. Raises 0x150 for an array
/// shorter than `count` and "decodeByteArray(): can't get elements" for one that is null or cannot be pinned.
bool decodeByteArray(JNIEnv* env, const void* src, jbyteArray dest, CK_ULONG count);

/// A new array of `length` bytes, or null: with the virtual machine's error pending, or without one for a length beyond
/// any Java array.
jbyteArray newByteArray(JNIEnv* env, CK_ULONG length);

/// A new array of these numbers as Java ints. Null after raising `failure` or "GetIntArrayElements() failed".
jintArray newIntArray(JNIEnv* env, const CK_ULONG* numbers, CK_ULONG count, const char* failure);

/// A String of `length` bytes, of which trailing blanks (0x20 alone) are dropped when `trimBlanks` is set; a NUL among
/// them ends it. bytes[length] must be writable: the terminator is written there. Null when the virtual machine fails.
jstring newStringFromBytes(JNIEnv* env, unsigned char* bytes, std::size_t length, bool trimBlanks);

/// A String of a text. False when the virtual machine's error is pending; null without one is as good as any String.
bool newStringFromText(JNIEnv* env, const char* text, jstring* string);

/// A String of a blank-padded Cryptoki text field; false as for newStringFromText.
template <std::size_t size>
bool newStringFromField(JNIEnv* env, const CK_UTF8CHAR (&field)[size], jstring* string)
{
    unsigned char text[size + 1];
    std::memcpy(text, field, size);
    *string = newStringFromBytes(env, text, size, true);
    return *string != nullptr || env->ExceptionCheck() != JNI_TRUE;
}
