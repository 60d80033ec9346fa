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
// All of them raise on failure; `wrongType` is the code for a value of a class that does not fit. They run on the
// calling thread outside the bridge lock and keep no state.
#pragma once

#include <jni.h>

#include "cryptoki.h"
#include "stack_buffer.h"

/// An upper bound of the bytes that a Java attribute value takes encoded: 0 for null and for a class that is no value.
/// Raises nothing; an error of the virtual machine is left pending for the encoder to find.
std::size_t encodedValueSize(JNIEnv* env, jobject value);

/// The bytes that a whole template takes: the entries, then the values. 0 for null `values`. Raises as above.
std::size_t encodedTemplateSize(JNIEnv* env, jobjectArray values);

/// Encodes a value by the kind of attr->type at attr->pValue. attr->ulValueLen holds the room on entry and the bytes
/// written on success. Raises 0x12 for a type without a row, 0x13 for a value that is not of its kind,
/// "no space for encoded attribute!".
bool encodeAttributeValue(JNIEnv* env, jobject value, CK_ATTRIBUTE* attr);

/// A template in the making. The native method reserves `buffer` (encodedTemplateSize) before it is filled.
struct EncodedTemplate
{
    EncodeBuffer buffer;
    CK_ATTRIBUTE* entries = nullptr; ///< null for an empty template made from null arrays
    CK_ULONG count = 0;
};

/// Encodes a template of `types` and `values` into its reservation; null arrays give an empty one. Entries of type -1
/// are left out. Raises 0xD1 for arrays of other classes or of unequal lengths, "memory allocation for temporary
/// template failed!" for a refused reservation, "can't access attribute types array", and as encodeAttributeValue does.
bool encodeTemplate(JNIEnv* env, jintArray types, jobjectArray values, EncodedTemplate* encoded);

/// Copies a byte[]; null gives length 0. *len holds the room on entry and the bytes written on success.
bool encodeByteArray(JNIEnv* env, jobject value, void* dest, CK_ULONG* len, CK_RV wrongType);

/// Copies a BigInteger's two's complement, big-endian, without leading zero bytes (0 is one of them); null gives length
/// 0. *len as for encodeByteArray.
bool encodeBigInteger(JNIEnv* env, jobject value, void* dest, CK_ULONG* len, CK_RV wrongType);

/// Stores an Integer as a CK_ULONG; null is refused with `wrongType`. *len as for encodeByteArray.
bool encodeInteger(JNIEnv* env, jobject value, void* dest, CK_ULONG* len, CK_RV wrongType);
