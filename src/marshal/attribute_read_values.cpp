// Reading several attributes of an object: one call for their lengths, then one for each value of variable size.

#include "bridge/attribute_calls.h"
#include "bridge/exception.h"
#include "bridge/java_numbers.h"
#include "bridge/java_objects.h"
#include "marshal/attribute_fetch.h"
#include "marshal/attribute_read.h"
#include "marshal/template_read.h"
#include "marshal/value_build.h"

namespace {

// How reading several attributes continues after one of them.
enum class Next
{
    goOn,
    end,
};

// Keeps the first exception of a call that goes on after raising; later ones are dropped.
void keepFirst(JNIEnv* env, jthrowable* first)
{
    jthrowable raised = stashPendingException(env);
    if (*first == nullptr)
        *first = raised;
    else
        env->DeleteLocalRef(raised);
}

// Builds the element of one fetched entry; null is an element too. `first` is the exception raised before it.
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
    restorePendingException(env, first);
    return next == Next::goOn;
}

} // namespace

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
