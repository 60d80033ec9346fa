#include "marshal/attribute_read.h"

#include "bridge/attribute_calls.h"
#include "bridge/buffers.h"
#include "bridge/exception.h"
#include "bridge/java_numbers.h"
#include "bridge/java_objects.h"
#include "bridge/stack_buffer.h"
#include "marshal/template_read.h"
#include "marshal/value_build.h"

namespace {

// Holds every value of fixed size, with some bytes to spare: there are modules that write more than they were offered.
struct Scratch
{
    alignas(CK_ULONG) unsigned char bytes[16];
};

// What becomes of a call for several attributes after one of them.
enum class Next
{
    goOn,
    end,
};

// The bytes that a value of fixed size takes; 0 for a kind that is asked for its length first.
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

// Reads a value into `room` bytes and answers its true length.
bool fetchInto(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE_TYPE type, void* bytes, CK_ULONG room,
               CK_ULONG* length)
{
    CK_ATTRIBUTE attribute = {type, bytes, room};
    if (!fetchAttributes(env, handles, &attribute, 1))
        return false;
    *length = attribute.ulValueLen;
    return require(env, *length <= room, CKR_BUFFER_TOO_SMALL);
}

// Reads a value of an announced length onto the stack and has build(bytes, length) make a Java object of it. False when
// there was no stack for it, which is not raised yet.
template <typename Build>
bool fetchOnStack(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE_TYPE type, CK_ULONG room, StackBudget budget,
                  Build build)
{
    EncodeBuffer buffer;
    RESERVE_STACK(budget, buffer, addSize(room, sizeof(Scratch)));
    if (buffer.bytes == nullptr)
        return false;

    CK_ULONG length = 0;
    if (room == 0 || fetchInto(env, handles, type, buffer.bytes, room, &length))
        build(buffer.bytes, length);
    return true;
}

bool fetchText(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE_TYPE type, CK_ULONG room, StackBudget budget,
               jobject* text)
{
    return fetchOnStack(env, handles, type, room, budget, [env, text](unsigned char* bytes, CK_ULONG length) {
        *text = newStringFromBytes(env, bytes, length, false);
    });
}

bool fetchNumbers(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE_TYPE type, CK_ULONG room, StackBudget budget,
                  jobject* numbers)
{
    return fetchOnStack(env, handles, type, room, budget, [env, numbers](unsigned char* bytes, CK_ULONG length) {
        *numbers = numbersOf(env, bytes, length);
    });
}

// Reads bytes of an announced length into a new array. Null when there was none to be had; an array whose bytes could
// not be read comes back too, with the reason raised and *fetched false.
jbyteArray fetchBytes(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE_TYPE type, CK_ULONG room, bool* fetched)
{
    *fetched = false;
    jbyteArray array = newByteArray(env, room);
    if (array == nullptr) {
        throwPKCS11Exception(env, 0, "NewByteArray() failed");
        return nullptr;
    }
    *fetched = room == 0;
    if (*fetched)
        return array;
    PinnedBytes pinned = {};
    if (!pinArray(env, array, &pinned)) {
        throwPKCS11Exception(env, 0, "can't get byte[] elements");
        return nullptr;
    }

    CK_ULONG length = room;
    *fetched = fetchInto(env, handles, type, pinned.data, room, &length);
    jbyteArray result = *fetched && length < room ? bytesOf(env, pinned.data, length) : array;
    releaseBuffer(env, pinned, *fetched && result == array ? 0 : JNI_ABORT);
    if (result != array)
        env->DeleteLocalRef(array);
    return result;
}

jobject bigIntegerZero(JNIEnv* env)
{
    jclass type = env->FindClass("java/math/BigInteger");
    jmethodID valueOf =
        type != nullptr ? env->GetStaticMethodID(type, "valueOf", "(J)Ljava/math/BigInteger;") : nullptr;
    if (valueOf == nullptr)
        return nullptr;

    jobject zero = env->CallStaticObjectMethod(type, valueOf, jlong{0});
    return env->ExceptionCheck() == JNI_TRUE ? nullptr : zero;
}

// Keeps the first exception of a call that goes on after raising; later ones are dropped.
void keepFirst(JNIEnv* env, jthrowable* first)
{
    jthrowable raised = setPendingAside(env);
    if (*first == nullptr)
        *first = raised;
    else
        env->DeleteLocalRef(raised);
}

// Builds the element of one fetched entry; null is an element too. `first` holds what was raised before it.
Next buildElement(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE_TYPE type, const Scratch& scratch,
                  CK_ULONG length, StackBudget budget, jthrowable* first, jobject* element)
{
    ValueKind kind = attributeKind(type);
    bool fetched = false;
    switch (kind) {
    case ValueKind::boolean: {
        jboolean value = booleanOf(env, scratch.bytes, length);
        keepFirst(env, first);
        *element = newBoolean(env, value);
        break;
    }
    case ValueKind::integer: {
        jint value = integerOf(env, scratch.bytes, length);
        keepFirst(env, first);
        *element = newInteger(env, value);
        break;
    }
    case ValueKind::string:
        if (length != 0 && !fetchText(env, handles, type, length, budget, element)) {
            throwPKCS11Exception(env, 0, "getStringAttributeValues(): alloca() failed");
            return Next::end;
        }
        break;
    case ValueKind::bytes:
        *element = fetchBytes(env, handles, type, length, &fetched);
        return *element != nullptr ? Next::goOn : Next::end;
    case ValueKind::date:
        *element = dateOf(env, scratch.bytes, length);
        return env->ExceptionCheck() == JNI_TRUE ? Next::end : Next::goOn;
    case ValueKind::bigInteger:
        if (length != 0) {
            jbyteArray magnitude = fetchBytes(env, handles, type, length, &fetched);
            if (magnitude == nullptr)
                return Next::end;
            *element = fetched ? newBigInteger(env, magnitude) : nullptr;
            env->DeleteLocalRef(magnitude);
        }
        break;
    case ValueKind::numbers:
        if (fetchNumbers(env, handles, type, length, budget, element))
            break;
        throwPKCS11Exception(env, 0, "alloca() failed");
        return Next::end;
    case ValueKind::attributes: *element = readTemplate(env, handles, type, length, budget); break;
    case ValueKind::unknown: break;
    }
    return Next::goOn;
}

// Fills the result from the entries fetched for `types`. False when an element ended the call.
bool fillElements(JNIEnv* env, const ObjectHandles& handles, const jint* types, const CK_ATTRIBUTE* entries,
                  const Scratch* scratch, StackBudget budget, jobjectArray result, jsize count)
{
    jthrowable first = nullptr;
    Next next = Next::goOn;
    for (jsize i = 0; i < count && next == Next::goOn; ++i) {
        jobject element = nullptr;
        next =
            buildElement(env, handles, fromJava(types[i]), scratch[i], entries[i].ulValueLen, budget, &first, &element);
        keepFirst(env, &first);
        if (element != nullptr && !storeElement(env, result, i, element))
            keepFirst(env, &first);
    }
    restorePending(env, first);
    return next == Next::goOn;
}

} // namespace

jboolean readBoolean(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE_TYPE type)
{
    Scratch scratch = {};
    CK_ULONG length = 0;
    return fetchFixed(env, handles, type, ValueKind::boolean, &scratch, &length) ? booleanOf(env, scratch.bytes, length)
                                                                                 : JNI_FALSE;
}

jint readInteger(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE_TYPE type)
{
    Scratch scratch = {};
    CK_ULONG length = 0;
    return fetchFixed(env, handles, type, ValueKind::integer, &scratch, &length) ? integerOf(env, scratch.bytes, length)
                                                                                 : 0;
}

jobject readString(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE_TYPE type)
{
    CK_ULONG length = 0;
    if (!fetchLength(env, handles, type, &length))
        return nullptr;
    if (length == 0)
        return env->NewStringUTF("");

    jobject text = nullptr;
    if (!fetchText(env, handles, type, length, StackBudget{}, &text))
        throwPKCS11Exception(env, 0, "getStringAttributeValue(): alloca() failed");
    return text;
}

jobject readByteArray(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE_TYPE type)
{
    CK_ULONG length = 0;
    if (!fetchLength(env, handles, type, &length))
        return nullptr;

    bool fetched = false;
    jbyteArray array = fetchBytes(env, handles, type, length, &fetched);
    return fetched ? array : nullptr;
}

jobject readDate(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE_TYPE type)
{
    Scratch scratch = {};
    CK_ULONG length = 0;
    return fetchFixed(env, handles, type, ValueKind::date, &scratch, &length) ? dateOf(env, scratch.bytes, length)
                                                                              : nullptr;
}

jobject readBigInteger(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE_TYPE type)
{
    CK_ULONG length = 0;
    if (!fetchLength(env, handles, type, &length))
        return nullptr;
    if (length == 0)
        return bigIntegerZero(env);

    bool fetched = false;
    jbyteArray magnitude = fetchBytes(env, handles, type, length, &fetched);
    return fetched && magnitude != nullptr ? newBigInteger(env, magnitude) : nullptr;
}

jobject readNumbers(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE_TYPE type)
{
    CK_ULONG length = 0;
    if (!fetchLength(env, handles, type, &length))
        return nullptr;

    jobject numbers = nullptr;
    if (!fetchNumbers(env, handles, type, length, StackBudget{}, &numbers))
        throwPKCS11Exception(env, 0, "alloca() failed");
    return numbers;
}

jobject readValue(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE_TYPE type)
{
    switch (attributeKind(type)) {
    case ValueKind::boolean: {
        jboolean value = readBoolean(env, handles, type);
        return env->ExceptionCheck() == JNI_TRUE ? nullptr : newBoolean(env, value);
    }
    case ValueKind::integer: {
        jint value = readInteger(env, handles, type);
        return env->ExceptionCheck() == JNI_TRUE ? nullptr : newInteger(env, value);
    }
    case ValueKind::string: return readString(env, handles, type);
    case ValueKind::bytes: return readByteArray(env, handles, type);
    case ValueKind::date: return readDate(env, handles, type);
    case ValueKind::bigInteger: return readBigInteger(env, handles, type);
    case ValueKind::numbers: return readNumbers(env, handles, type);
    case ValueKind::attributes: {
        CK_ULONG length = 0;
        return fetchLength(env, handles, type, &length) ? readTemplate(env, handles, type, length, StackBudget{})
                                                        : nullptr;
    }
    case ValueKind::unknown: break;
    }
    return nullptr;
}

jobjectArray readValues(JNIEnv* env, jobject session, jobject object, const jint* types, jsize count)
{
    StackBudget budget;
    EncodeBuffer buffer;
    RESERVE_STACK(budget, buffer, arraySize(fromJava(count), sizeof(CK_ATTRIBUTE) + sizeof(Scratch)));
    if (buffer.bytes == nullptr) {
        throwPKCS11Exception(env, 0, "alloca() failed");
        return nullptr;
    }
    auto* scratch = reinterpret_cast<Scratch*>(buffer.bytes);
    auto* entries = reinterpret_cast<CK_ATTRIBUTE*>(scratch + count);
    for (jsize i = 0; i < count; ++i) {
        entries[i].type = fromJava(types[i]);
        CK_ULONG size = fixedSize(attributeKind(entries[i].type));
        entries[i].pValue = size != 0 ? scratch[i].bytes : nullptr;
        entries[i].ulValueLen = size;
    }

    ObjectHandles handles = {};
    if (!resolveSessionObject(env, session, object, &handles) ||
        !fetchAttributes(env, handles, entries, fromJava(count)))
        return nullptr;

    jclass type = env->FindClass("java/lang/Object");
    jobjectArray result = type != nullptr ? env->NewObjectArray(count, type, nullptr) : nullptr;
    if (result == nullptr || !fillElements(env, handles, types, entries, scratch, budget, result, count))
        return nullptr;
    return result;
}
