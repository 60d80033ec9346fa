#include "bridge/exception.h"
#include "bridge/fields.h"
#include "bridge/java_numbers.h"
#include "marshal/template_arrays.h"
#include "marshal/values.h"

namespace {

constexpr CK_ATTRIBUTE_TYPE kSkipped = 0xFFFFFFFF; // -1 in Java

// Takes aligned room for the entries of a template; null after raising when there is none.
CK_ATTRIBUTE* takeEntries(JNIEnv* env, jsize length, EncodeArea* area)
{
    std::size_t gap = -reinterpret_cast<std::uintptr_t>(area->cursor) % alignof(CK_ATTRIBUTE);
    std::size_t size = addSize(gap, arraySize(fromJava(length), sizeof(CK_ATTRIBUTE)));
    if (size > static_cast<std::size_t>(area->end - area->cursor)) {
        throwPKCS11Exception(env, 0, "no space for encoded attribute!");
        return nullptr;
    }
    auto* entries = reinterpret_cast<CK_ATTRIBUTE*>(area->cursor + gap);
    area->cursor += size;
    return entries;
}

// Encodes open arrays: the entries at the cursor, then their values.
bool encodeEntries(JNIEnv* env, const TemplateArrays& arrays, CK_ATTRIBUTE** entries, CK_ULONG* count, EncodeArea* area)
{
    if (arrays.typeElements == nullptr)
        return refuse(env, "can't access attribute types array");
    *entries = takeEntries(env, arrays.length, area);
    for (jsize i = 0; *entries != nullptr && i < arrays.length; ++i) {
        CK_ATTRIBUTE* entry = *entries + *count;
        entry->type = fromJava(arrays.typeElements[i]);
        if (entry->type == kSkipped)
            continue;

        jobject value = env->GetObjectArrayElement(arrays.values, i);
        if (value == nullptr && env->ExceptionCheck() == JNI_TRUE)
            return false;
        bool tooDeep = arrays.nested && attributeKind(entry->type) == ValueKind::attributes;
        bool done =
            require(env, !tooDeep, CKR_ATTRIBUTE_VALUE_INVALID) && encodeAttributeValue(env, value, entry, area);
        env->DeleteLocalRef(value);
        if (!done)
            return false;
        ++*count;
    }
    return *entries != nullptr;
}

bool encodeOpen(JNIEnv* env, EncodedTemplate* opened)
{
    if (opened->state != EncodedTemplate::open)
        return refuse(env, CKR_TEMPLATE_INCONSISTENT);
    if (opened->buffer.bytes == nullptr)
        return refuse(env, "memory allocation for temporary template failed!");
    EncodeArea area = areaIn(opened->buffer);
    return encodeEntries(env, opened->arrays, &opened->entries, &opened->count, &area);
}

} // namespace

bool encodeTemplate(JNIEnv* env, EncodedTemplate* opened)
{
    if (opened->state == EncodedTemplate::empty)
        return true;

    bool done = encodeOpen(env, opened);
    closeArrays(env, opened->arrays);
    return done;
}

bool encodeTemplateObject(JNIEnv* env, jobject value, bool nested, CK_ATTRIBUTE** entries, CK_ULONG* count,
                          EncodeArea* area)
{
    *entries = nullptr;
    *count = 0;
    if (value == nullptr)
        return true;
    TemplateArrays arrays;
    arrays.nested = nested;
    if (openTemplateObject(env, value, &arrays) != Instance::yes)
        return refuse(env, CKR_ATTRIBUTE_VALUE_INVALID);

    bool done = encodeEntries(env, arrays, entries, count, area);
    closeTemplateObject(env, arrays);
    return done;
}
