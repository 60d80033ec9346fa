// Encoding a Java value as the bytes of an attribute. Sizing comes first, by the kind of the attribute's type;
// encoding checks every byte against the area that is left, since another thread may change an
// array between the two.
#pragma once

#include <cstddef>

#include <jni.h>

#include "bridge/cryptoki.h"
#include "bridge/stack_buffer.h"
#include "marshal/attribute_kinds.h"

/// An upper bound of the size of a Java value encoded as an attribute of that kind: 0 for null and for a value
/// that is not of its kind. False when the virtual machine's error is pending.
bool encodedValueSize(JNIEnv* env, ValueKind kind, jobject value, std::size_t* size);

/// The same for a value of this attribute in a template; the value is not examined where the kind decides alone.
bool encodedElementSize(JNIEnv* env, ValueKind kind, jobjectArray values, jsize index, std::size_t* size);

/// The same for what is known to be a BigInteger.
bool bigIntegerSize(JNIEnv* env, jobject value, std::size_t* size);

/// The position at which the next value is encoded.
struct EncodeArea
{
    unsigned char* cursor;
    unsigned char* end;
};

/// The whole of a reservation; empty for one that was refused.
inline EncodeArea areaIn(const EncodeBuffer& buffer)
{
    return {buffer.bytes, buffer.bytes != nullptr ? buffer.bytes + buffer.size : nullptr};
}

/// Encodes a value by the kind of attr->type at the cursor, which moves behind it. Raises 0x12 for a type without a
/// row, 0x13 for a value that is not of its kind, "no space for encoded attribute!".
bool encodeAttributeValue(JNIEnv* env, jobject value, CK_ATTRIBUTE* attr, EncodeArea* area);

/// Copies a byte[]; null gives length 0. *len holds the capacity on entry and the bytes written on success.
bool encodeByteArray(JNIEnv* env, jobject value, void* dest, CK_ULONG* len, CK_RV wrongType);

/// The same for what is known to be a byte[], not null.
bool copyByteArray(JNIEnv* env, jbyteArray array, void* dest, CK_ULONG* len);

/// Copies the two's complement of a BigInteger of this class, big-endian, without leading zero bytes (0 is one of
/// them). *len as for encodeByteArray.
bool encodeBigInteger(JNIEnv* env, jobject value, jclass type, void* dest, CK_ULONG* len);

/// Stores an Integer of this class as a CK_ULONG. *len as for encodeByteArray.
bool encodeInteger(JNIEnv* env, jobject value, jclass type, void* dest, CK_ULONG* len);
