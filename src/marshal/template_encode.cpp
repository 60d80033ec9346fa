#include "frame.h"
#include "values.h"

namespace {

constexpr CK_ATTRIBUTE_TYPE kSkipped = 0xFFFFFFFF; // -1 in Java

// Encodes the entries into a buffer sized for them.
bool encodeEntries(JNIEnv* env, EncodedTemplate* opened)
{
    unsigned char* cursor = opened->buffer.bytes + sizeof(CK_ATTRIBUTE) * fromJava(opened->length);
    unsigned char* end = opened->buffer.bytes + opened->buffer.size;
    opened->entries = reinterpret_cast<CK_ATTRIBUTE*>(opened->buffer.bytes);

    for (jsize i = 0; i < opened->length; ++i) {
        CK_ATTRIBUTE* entry = &opened->entries[opened->count];
        entry->type = fromJava(opened->typeElements[i]);
        if (entry->type == kSkipped)
            continue;
        entry->pValue = cursor;
        entry->ulValueLen = static_cast<CK_ULONG>(end - cursor);

        jobject value = env->GetObjectArrayElement(opened->values, i);
        if (value == nullptr && env->ExceptionCheck() == JNI_TRUE)
            return false;
        bool done = encodeAttributeValue(env, value, entry);
        env->DeleteLocalRef(value);
        if (!done)
            return false;

        cursor += entry->ulValueLen;
        ++opened->count;
    }
    return true;
}

bool encodeOpen(JNIEnv* env, EncodedTemplate* opened)
{
    if (opened->state != EncodedTemplate::open)
        return refuse(env, CKR_TEMPLATE_INCONSISTENT);
    if (opened->buffer.bytes == nullptr)
        return refuse(env, "memory allocation for temporary template failed!");
    if (opened->typeElements == nullptr)
        return refuse(env, "can't access attribute types array");
    return encodeEntries(env, opened);
}

} // namespace

bool encodeTemplate(JNIEnv* env, EncodedTemplate* opened)
{
    if (opened->state == EncodedTemplate::empty)
        return true;

    bool done = encodeOpen(env, opened);
    if (opened->typeElements != nullptr)
        env->ReleaseIntArrayElements(opened->types, opened->typeElements, JNI_ABORT);
    return done;
}
