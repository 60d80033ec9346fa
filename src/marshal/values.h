// Java values as Cryptoki values: sized first, then encoded into a reservation of the native method.
//
// Encoders never trust the sizing pass: the Java side may change between the two, so each is told the room that is left
// and refuses what no longer fits. They write through memcpy, since values follow one another without alignment:
//
//     template of { CKA_CLASS, CKA_TOKEN, CKA_LABEL } in a reservation of 3 × 24 + 8 + 1 + 3 bytes
//      0  CKA_CLASS  pValue=+72  len 8
//     24  CKA_TOKEN  pValue=+80  len 1
//     48  CKA_LABEL  pValue=+81  len 3
//     72  04 00 00 00 00 00 00 00 | 01 | 'k' 'e' 'y'
//
// Only the entries of a template that is itself a value are aligned.
//
// All of them raise on failure; `wrongType` is the code for a value of a class that does not fit. They run on the
// calling thread outside the bridge lock and keep no state.
#pragma once

#include <jni.h>

#include "bridge/cryptoki.h"
#include "bridge/stack_buffer.h"
#include "marshal/attribute_kinds.h"

/// An upper bound of the bytes that a Java value takes encoded as an attribute of that kind: 0 for null and for a value
/// that is not of its kind. False when the virtual machine's error is pending.
bool encodedValueSize(JNIEnv* env, ValueKind kind, jobject value, std::size_t* size);

/// Where values are encoded one after the other.
struct EncodeArea
{
    unsigned char* cursor;
    unsigned char* end;
};

/// All of a reservation; no room at all for one that was refused.
inline EncodeArea areaIn(const EncodeBuffer& buffer)
{
    return {buffer.bytes, buffer.bytes != nullptr ? buffer.bytes + buffer.size : nullptr};
}

/// Encodes a value by the kind of attr->type at the cursor, which moves behind it. Raises 0x12 for a type without a
/// row, 0x13 for a value that is not of its kind, "no space for encoded attribute!".
bool encodeAttributeValue(JNIEnv* env, jobject value, CK_ATTRIBUTE* attr, EncodeArea* area);

/// The two arrays of a template in Java.
struct TemplateArrays
{
    jintArray types = nullptr;
    jobjectArray values = nullptr;
    jsize length = 0;             ///< of both
    jint* typeElements = nullptr; ///< pinned while the template is open
    bool nested = false;          ///< whether it is an attribute's value: such a template holds no further ones
};

/// A template in the making: openTemplate measures it, the native method reserves `buffer`, encodeTemplate fills it.
struct EncodedTemplate
{
    EncodeBuffer buffer;
    CK_ATTRIBUTE* entries = nullptr; ///< null for an empty template made from null arrays
    CK_ULONG count = 0;

    enum
    {
        empty,
        failed,       ///< the virtual machine's error is pending
        inconsistent, ///< arrays of other classes or of unequal lengths
        open,
    } state = empty;
    TemplateArrays arrays;
};

/// Opens a template of `types` and `values` and answers the bytes that it takes at most: the entries, then the values.
/// Raises nothing: encodeTemplate, which must follow the reservation, raises what was found.
std::size_t openTemplate(JNIEnv* env, jintArray types, jobjectArray values, EncodedTemplate* opened);

/// Encodes an open template into its reservation; null arrays give an empty one. Entries of type -1 are left out.
/// Raises 0xD1 for arrays of other classes or of unequal lengths, "memory allocation for temporary template failed!"
/// for a refused reservation, "can't access attribute types array", and as encodeAttributeValue does.
bool encodeTemplate(JNIEnv* env, EncodedTemplate* opened);

/// The bytes that a com.kelvane.pkcs11.Template takes at most, for its alignment too; 0 for null and for what is none.
/// False when the virtual machine's error is pending.
bool templateObjectSize(JNIEnv* env, jobject value, bool nested, std::size_t* size);

/// Encodes a Template at the cursor: the entries, aligned, then their values. Null gives no entries. Raises 0x13 for an
/// object of another class, and as encodeTemplate does.
bool encodeTemplateObject(JNIEnv* env, jobject value, bool nested, CK_ATTRIBUTE** entries, CK_ULONG* count,
                          EncodeArea* area);

/// Copies a byte[]; null gives length 0. *len holds the room on entry and the bytes written on success.
bool encodeByteArray(JNIEnv* env, jobject value, void* dest, CK_ULONG* len, CK_RV wrongType);

/// The same for what is known to be a byte[], not null.
bool copyByteArray(JNIEnv* env, jbyteArray array, void* dest, CK_ULONG* len);

/// Copies a BigInteger's two's complement, big-endian, without leading zero bytes (0 is one of them); null gives length
/// 0. *len as for encodeByteArray.
bool encodeBigInteger(JNIEnv* env, jobject value, void* dest, CK_ULONG* len, CK_RV wrongType);

/// Stores an Integer as a CK_ULONG; null is refused with `wrongType`. *len as for encodeByteArray.
bool encodeInteger(JNIEnv* env, jobject value, void* dest, CK_ULONG* len, CK_RV wrongType);
