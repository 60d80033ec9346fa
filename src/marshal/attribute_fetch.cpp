#include "marshal/attribute_fetch.h"

#include "bridge/attribute_calls.h"
#include "bridge/buffers.h"
#include "bridge/exception.h"
#include "marshal/value_build.h"

namespace {

// Reads a value into a buffer; *length is the value's length afterwards.
bool fetchInto(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE_TYPE type, void* bytes, CK_ULONG capacity,
               CK_ULONG* length)
{
    CK_ATTRIBUTE attribute = {type, bytes, capacity};
    if (!fetchAttributes(env, handles, &attribute, 1))
        return false;
    *length = attribute.ulValueLen;
    return require(env, *length <= capacity, CKR_BUFFER_TOO_SMALL);
}

// Reads a value of a reported length onto the stack and calls build(bytes, length) for the Java object. False when the
// stack does not suffice, which is not raised yet.
template <typename Build>
bool fetchOnStack(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE_TYPE type, CK_ULONG capacity,
                  StackBudget budget, Build build)
{
    EncodeBuffer buffer;
    RESERVE_STACK(budget, buffer, addSize(capacity, sizeof(Scratch)));
    if (buffer.bytes == nullptr)
        return false;

    CK_ULONG length = 0;
    if (capacity == 0 || fetchInto(env, handles, type, buffer.bytes, capacity, &length))
        build(buffer.bytes, length);
    return true;
}

} // namespace

CK_ULONG fixedSize(ValueKind kind)
{
    switch (kind) {
    case ValueKind::boolean: return sizeof(CK_BBOOL);
    case ValueKind::integer: return sizeof(CK_ULONG);
    case ValueKind::date: return sizeof(CK_DATE);
    default: return 0;
    }
}

bool fetchFixed(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE_TYPE type, ValueKind kind, Scratch* scratch,
                CK_ULONG* length)
{
    CK_ATTRIBUTE attribute = {type, scratch->bytes, fixedSize(kind)};
    bool fetched = fetchAttributes(env, handles, &attribute, 1);
    *length = attribute.ulValueLen;
    return fetched;
}

bool fetchLength(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE_TYPE type, CK_ULONG* length)
{
    CK_ATTRIBUTE attribute = {type, nullptr, 0};
    bool fetched = fetchAttributes(env, handles, &attribute, 1);
    *length = attribute.ulValueLen;
    return fetched;
}

bool fetchText(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE_TYPE type, CK_ULONG capacity, StackBudget budget,
               jobject* text)
{
    return fetchOnStack(env, handles, type, capacity, budget, [env, text](unsigned char* bytes, CK_ULONG length) {
        *text = newStringFromBytes(env, bytes, length, false);
    });
}

bool fetchNumbers(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE_TYPE type, CK_ULONG capacity,
                  StackBudget budget, jobject* numbers)
{
    return fetchOnStack(env, handles, type, capacity, budget, [env, numbers](unsigned char* bytes, CK_ULONG length) {
        *numbers = numbersOf(env, bytes, length);
    });
}

jbyteArray fetchBytes(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE_TYPE type, CK_ULONG capacity,
                      bool* fetched)
{
    *fetched = false;
    jbyteArray array = newByteArray(env, capacity);
    if (array == nullptr) {
        throwPKCS11Exception(env, 0, "NewByteArray() failed");
        return nullptr;
    }
    *fetched = capacity == 0;
    if (*fetched)
        return array;
    PinnedBytes pinned = {};
    if (!pinArray(env, array, &pinned)) {
        throwPKCS11Exception(env, 0, "can't get byte[] elements");
        return nullptr;
    }

    CK_ULONG length = capacity;
    *fetched = fetchInto(env, handles, type, pinned.data, capacity, &length);
    jbyteArray result = *fetched && length < capacity ? bytesOf(env, pinned.data, length) : array;
    releaseBuffer(env, pinned, *fetched && result == array ? 0 : JNI_ABORT);
    if (result != array)
        env->DeleteLocalRef(array);
    return result;
}
