#include "bridge/buffers.h"

#include "bridge/exception.h"
#include "bridge/fields.h"
#include "bridge/java_numbers.h"
#include "bridge/platform.h"

namespace {

bool pinSized(JNIEnv* env, jbyteArray array, jsize size, PinnedBytes* pinned)
{
    jboolean isCopy = JNI_FALSE;
    jbyte* elements = env->GetByteArrayElements(array, &isCopy);
    *pinned = {array, elements, size, isCopy, reinterpret_cast<CK_BYTE_PTR>(elements), fromJava(size)};
    return elements != nullptr;
}

// Pins an array for a range at `offset` of `length` bytes, or to its end when `toEnd` is set.
bool pin(JNIEnv* env, jbyteArray array, jint offset, jint length, bool toEnd, PinnedBytes* pinned)
{
    if (array == nullptr || offset < 0 || length < 0)
        return refuse(env, CKR_DATA_INVALID);

    jint size = env->GetArrayLength(array);
    if (offset > size || length > size - offset)
        return refuse(env, CKR_BUFFER_TOO_SMALL);

    if (!pinSized(env, array, size, pinned))
        return refuse(env, "getBuffer(): can't get elements");
    pinned->data += offset;
    pinned->length = fromJava(toEnd ? size - offset : length);
    return true;
}

bool copyBytes(JNIEnv* env, jbyteArray value, unsigned char* dest, CK_ULONG* len)
{
    jsize size = env->GetArrayLength(value);
    if (fromJava(size) > *len)
        return refuse(env, "copyBytes(): buffer too small!");
    PinnedBytes pinned = {};
    if (!pinSized(env, value, size, &pinned))
        return refuse(env, "copyBytes(): can't get elements");

    std::memcpy(dest, pinned.data, pinned.length);
    *len = pinned.length;
    releaseBuffer(env, pinned, JNI_ABORT);
    return true;
}

} // namespace

bool getBuffer(JNIEnv* env, jbyteArray array, jint offset, jint length, PinnedBytes* pinned)
{
    return pin(env, array, offset, length, false, pinned);
}

bool getOutputBuffer(JNIEnv* env, jbyteArray array, jint offset, PinnedBytes* pinned)
{
    return pin(env, array, offset, 0, true, pinned);
}

bool pinArray(JNIEnv* env, jbyteArray array, PinnedBytes* pinned)
{
    return pinSized(env, array, env->GetArrayLength(array), pinned);
}

void releaseBuffer(JNIEnv* env, const PinnedBytes& pinned, jint mode)
{
    if (mode == JNI_ABORT && pinned.isCopy == JNI_TRUE)
        wipe(pinned.elements, static_cast<std::size_t>(pinned.size));
    env->ReleaseByteArrayElements(pinned.array, pinned.elements, mode);
}

bool copyString(JNIEnv* env, jstring value, unsigned char* dest, CK_ULONG* len, const char* tooLarge)
{
    CK_ULONG size = fromJava(env->GetStringUTFLength(value));
    if (dest != nullptr && *len < size)
        return refuse(env, tooLarge);

    jboolean isCopy = JNI_FALSE;
    const char* characters = env->GetStringUTFChars(value, &isCopy);
    if (characters == nullptr)
        return refuse(env, "GetStringUTFChars() failed");

    if (dest != nullptr) {
        std::memcpy(dest, characters, size);
        *len = size;
    }
    if (isCopy == JNI_TRUE)
        wipe(const_cast<char*>(characters), size);
    env->ReleaseStringUTFChars(value, characters);
    if (dest == nullptr)
        throwPKCS11Exception(env, 0, "copyStringBytes(): no space for encoded String!");
    return dest != nullptr;
}

bool copyStringBytes(JNIEnv* env, jobject value, unsigned char* dest, CK_ULONG* len)
{
    Instance string = testInstance(env, value, "java/lang/String");
    if (string == Instance::yes)
        return copyString(env, static_cast<jstring>(value), dest, len,
                          "copyStringBytes(): buffer too small for string!");
    if (string == Instance::no && isInstance(env, value, "[B"))
        return copyBytes(env, static_cast<jbyteArray>(value), dest, len);
    return refuse(env, "Object must be String or byte[]!");
}

bool decodeByteArray(JNIEnv* env, const void* src, jbyteArray dest, CK_ULONG count)
{
    PinnedBytes pinned = {};
    if (dest == nullptr || !pinArray(env, dest, &pinned))
        return refuse(env, "decodeByteArray(): can't get elements");

    bool fits = count <= pinned.length;
    if (fits)
        std::memcpy(pinned.data, src, count != 0 ? count : pinned.length);
    releaseBuffer(env, pinned, fits ? 0 : JNI_ABORT);
    return fits || refuse(env, CKR_BUFFER_TOO_SMALL);
}

jbyteArray newByteArray(JNIEnv* env, CK_ULONG length)
{
    return length <= INT32_MAX ? env->NewByteArray(toJava(length)) : nullptr;
}

bool newStringFromText(JNIEnv* env, const char* text, jstring* string)
{
    *string = env->NewStringUTF(text);
    return *string != nullptr || env->ExceptionCheck() != JNI_TRUE;
}

jintArray newIntArray(JNIEnv* env, const CK_ULONG* numbers, CK_ULONG count, const char* failure)
{
    jintArray array = count <= INT32_MAX ? env->NewIntArray(toJava(count)) : nullptr;
    if (array == nullptr) {
        throwPKCS11Exception(env, 0, failure);
        return nullptr;
    }
    jint* elements = env->GetIntArrayElements(array, nullptr);
    if (elements == nullptr) {
        throwPKCS11Exception(env, 0, "GetIntArrayElements() failed");
        return nullptr;
    }

    for (CK_ULONG i = 0; i < count; ++i)
        elements[i] = toJava(numbers[i]);
    env->ReleaseIntArrayElements(array, elements, 0);
    return array;
}

jstring newStringFromBytes(JNIEnv* env, unsigned char* bytes, std::size_t length, bool trimBlanks)
{
    while (trimBlanks && length > 0 && bytes[length - 1] == ' ')
        --length;
    bytes[length] = 0;
    return env->NewStringUTF(reinterpret_cast<const char*>(bytes));
}
