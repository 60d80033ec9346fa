// Templates: the two arrays of a native method, or a com.kelvane.pkcs11.Template, as CK_ATTRIBUTEs with their values
// behind them.
#pragma once

#include <jni.h>

#include "marshal/value_encode.h"

/// The two arrays of a template in Java.
struct TemplateArrays
{
    jintArray types = nullptr;
    jobjectArray values = nullptr;
    jsize length = 0;             ///< of both
    jint* typeElements = nullptr; ///< pinned while the template is open
    bool nested = false;          ///< whether it is an attribute's value: such a template holds no further one
};

/// A template to be encoded: openTemplate sizes it, the native method reserves `buffer`, encodeTemplate fills it.
struct EncodedTemplate
{
    EncodeBuffer buffer;
    CK_ATTRIBUTE* entries = nullptr; ///< null for an empty template of null arrays
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

/// Opens a template of `types` and `values` and returns an upper bound of its size: the entries, then the values.
/// Raises nothing: encodeTemplate, which must follow the reservation, raises the errors that sizing found.
std::size_t openTemplate(JNIEnv* env, jintArray types, jobjectArray values, EncodedTemplate* opened);

/// Encodes an open template into its reservation; null arrays are an empty one. Entries of type -1 are left out.
/// Raises 0xD1 for arrays of other classes or of unequal lengths, "memory allocation for temporary template failed!"
/// for a refused reservation, "can't access attribute types array", and as encodeAttributeValue does.
bool encodeTemplate(JNIEnv* env, EncodedTemplate* opened);

/// An upper bound of a com.kelvane.pkcs11.Template's size, with its alignment; 0 for null and for an object of
/// another class. False when the virtual machine's error is pending.
bool templateObjectSize(JNIEnv* env, jobject value, bool nested, std::size_t* size);

/// Encodes a Template at the cursor: the entries, aligned, then their values. Null is a template of 0 entries. Raises
/// 0x13 for an object of another class, and as encodeTemplate does.
bool encodeTemplateObject(JNIEnv* env, jobject value, bool nested, CK_ATTRIBUTE** entries, CK_ULONG* count,
                          EncodeArea* area);
