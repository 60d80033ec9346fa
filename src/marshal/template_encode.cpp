#include "frame.h"
#include "values.h"

namespace {

constexpr CK_ATTRIBUTE_TYPE kSkipped = 0xFFFFFFFF; // -1 in Java

// Encodes the entries of `types`, which hold as many as `values`, into a buffer sized for them.
bool encodeEntries(JNIEnv* env, const jint* types, jobjectArray values, jsize length, EncodedTemplate* encoded)
{
    unsigned char* cursor = encoded->buffer.bytes + sizeof(CK_ATTRIBUTE) * fromJava(length);
    unsigned char* end = encoded->buffer.bytes + encoded->buffer.size;

    for (jsize i = 0; i < length; ++i) {
        if (fromJava(types[i]) == kSkipped)
            continue;

        CK_ATTRIBUTE* entry = &encoded->entries[encoded->count];
        entry->type = fromJava(types[i]);
        entry->pValue = cursor;
        entry->ulValueLen = static_cast<CK_ULONG>(end - cursor);

        jobject value = env->GetObjectArrayElement(values, i);
        bool done = encodeAttributeValue(env, value, entry); // false where the element was not to be had
        env->DeleteLocalRef(value);
        if (!done)
            return false;

        cursor += entry->ulValueLen;
        ++encoded->count;
    }
    return true;
}

} // namespace

bool encodeTemplate(JNIEnv* env, jintArray types, jobjectArray values, EncodedTemplate* encoded)
{
    if (env->ExceptionCheck() == JNI_TRUE)
        return false;
    if (types == nullptr || values == nullptr)
        return true;

    if (!isInstance(env, types, "[I") || !isInstance(env, values, "[Ljava/lang/Object;") ||
        env->GetArrayLength(types) != env->GetArrayLength(values))
        return refuse(env, CKR_TEMPLATE_INCONSISTENT);
    if (encoded->buffer.bytes == nullptr)
        return refuse(env, "memory allocation for temporary template failed!");
    jint* elements = env->GetIntArrayElements(types, nullptr);
    if (elements == nullptr)
        return refuse(env, "can't access attribute types array");

    encoded->entries = reinterpret_cast<CK_ATTRIBUTE*>(encoded->buffer.bytes);
    bool done = encodeEntries(env, elements, values, env->GetArrayLength(types), encoded);
    env->ReleaseIntArrayElements(types, elements, JNI_ABORT);
    return done;
}
