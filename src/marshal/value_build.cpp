#include "marshal/value_build.h"

#include <cstring>
#include <ctime>

#include "bridge/buffers.h"
#include "bridge/exception.h"
#include "bridge/java_numbers.h"
#include "bridge/java_objects.h"
#include "bridge/platform.h"

namespace {

// Reads a number as sscanf does for %04d and %02d: leading blanks are skipped, and a sign counts as a character.
// (With sscanf itself the library would need the C library of the system that it was built on.)
bool scanNumber(const char** next, int width, int* number)
{
    while (**next == ' ' || (**next >= '\t' && **next <= '\r'))
        ++*next;
    bool negative = **next == '-';
    if (negative || **next == '+') {
        ++*next;
        --width;
    }
    bool found = false;
    for (*number = 0; width > 0 && **next >= '0' && **next <= '9'; --width, found = true)
        *number = 10 * *number + (*(*next)++ - '0');
    *number = negative ? -*number : *number;
    return found;
}

} // namespace

jboolean booleanOf(JNIEnv* env, const unsigned char* bytes, CK_ULONG length)
{
    require(env, length == sizeof(CK_BBOOL), CKR_ATTRIBUTE_VALUE_INVALID);
    return bytes[0] != CK_FALSE ? JNI_TRUE : JNI_FALSE;
}

jint integerOf(JNIEnv* env, const unsigned char* bytes, CK_ULONG length)
{
    require(env, length == sizeof(CK_ULONG), CKR_ATTRIBUTE_VALUE_INVALID);
    CK_ULONG number = 0;
    std::memcpy(&number, bytes, sizeof number);
    return toJava(number);
}

jobject dateOf(JNIEnv* env, const unsigned char* bytes, CK_ULONG length)
{
    if (length == 0)
        return nullptr;

    char text[sizeof(CK_DATE) + 1] = {};
    std::memcpy(text, bytes, sizeof(CK_DATE));
    const char* next = text;
    int year = 0;
    int month = 0;
    int day = 0;
    if (length != sizeof(CK_DATE) || !scanNumber(&next, 4, &year) || !scanNumber(&next, 2, &month) ||
        !scanNumber(&next, 2, &day)) {
        refuse(env, CKR_ATTRIBUTE_VALUE_INVALID);
        return nullptr;
    }

    std::tm calendar = {};
    calendar.tm_year = year - 1900;
    calendar.tm_mon = month - 1;
    calendar.tm_mday = day;
    return newJavaObject(env, "java/util/Date", "(J)V", jlong{localSeconds(calendar)} * 1000);
}

jobject numbersOf(JNIEnv* env, const unsigned char* bytes, CK_ULONG length)
{
    if (!require(env, length % sizeof(CK_ULONG) == 0, CKR_ATTRIBUTE_VALUE_INVALID))
        return nullptr;
    return newIntArray(env, reinterpret_cast<const CK_ULONG*>(bytes), length / sizeof(CK_ULONG),
                       "NewIntArray() failed");
}

jbyteArray bytesOf(JNIEnv* env, const unsigned char* bytes, CK_ULONG length)
{
    jbyteArray array = newByteArray(env, length);
    if (array == nullptr)
        throwPKCS11Exception(env, 0, "NewByteArray() failed");
    else
        env->SetByteArrayRegion(array, 0, toJava(length), reinterpret_cast<const jbyte*>(bytes));
    return array;
}

jobject newBoolean(JNIEnv* env, jboolean value)
{
    return newJavaObject(env, "java/lang/Boolean", "(Z)V", value);
}

jobject newInteger(JNIEnv* env, jint value)
{
    return newJavaObject(env, "java/lang/Integer", "(I)V", value);
}

jobject newBigInteger(JNIEnv* env, jbyteArray magnitude)
{
    return newJavaObject(env, "java/math/BigInteger", "(I[B)V", jint{1}, magnitude);
}
