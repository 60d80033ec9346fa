#include "marshal/template_encode.h"

#include "bridge/exception.h"
#include "bridge/fields.h"
#include "bridge/java_numbers.h"

namespace {

// Checks two arrays and pins the types. No when they are of other classes or of unequal lengths; yes also when the
// types could not be pinned: typeElements is null then.
Instance openArrays(JNIEnv* env, jintArray types, jobjectArray values, TemplateArrays* arrays)
{
    Instance are = testInstance(env, types, "[I");
    if (are == Instance::yes)
        are = testInstance(env, values, "[Ljava/lang/Object;");
    if (are != Instance::yes)
        return are;
    arrays->length = env->GetArrayLength(types);
    if (arrays->length != env->GetArrayLength(values))
        return Instance::no;

    arrays->types = types;
    arrays->values = values;
    arrays->typeElements = env->GetIntArrayElements(types, nullptr);
    return Instance::yes;
}

void closeArrays(JNIEnv* env, const TemplateArrays& arrays)
{
    if (arrays.typeElements != nullptr)
        env->ReleaseIntArrayElements(arrays.types, arrays.typeElements, JNI_ABORT);
}

// Deletes the references to the arrays too.
void closeTemplateObject(JNIEnv* env, const TemplateArrays& arrays)
{
    closeArrays(env, arrays);
    env->DeleteLocalRef(arrays.types);
    env->DeleteLocalRef(arrays.values);
}

// The same for the arrays of a com.kelvane.pkcs11.Template; no for any other object.
Instance openTemplateObject(JNIEnv* env, jobject value, TemplateArrays* arrays)
{
    jclass type = classIfInstance(env, value, "com/kelvane/pkcs11/Template");
    if (type == nullptr)
        return value != nullptr && env->ExceptionCheck() == JNI_TRUE ? Instance::failed : Instance::no;

    // Templates in templates in records need more local references than a native method has by default.
    constexpr jint more = 16;
    jobject types = nullptr;
    jobject values = nullptr;
    bool read = env->EnsureLocalCapacity(more) == JNI_OK && readObjectField(env, value, type, "types", "[I", &types) &&
                readObjectField(env, value, type, "values", "[Ljava/lang/Object;", &values);
    Instance are = read ? openArrays(env, static_cast<jintArray>(types), static_cast<jobjectArray>(values), arrays)
                        : Instance::failed;
    if (are != Instance::yes)
        closeTemplateObject(env, {static_cast<jintArray>(types), static_cast<jobjectArray>(values)});
    env->DeleteLocalRef(type);
    return are;
}

// An upper bound of the size of the entries and values of open arrays. False when the virtual machine's error is
// pending.
bool sizeArrays(JNIEnv* env, const TemplateArrays& arrays, std::size_t* size)
{
    *size = arraySize(fromJava(arrays.length), sizeof(CK_ATTRIBUTE));
    if (arrays.typeElements == nullptr)
        return env->ExceptionCheck() != JNI_TRUE;
    for (jsize i = 0; i < arrays.length; ++i) {
        ValueKind kind = attributeKind(fromJava(arrays.typeElements[i]));
        std::size_t of = 0;
        bool tooDeep = arrays.nested && kind == ValueKind::attributes;
        if (!tooDeep && !encodedElementSize(env, kind, arrays.values, i, &of))
            return false;
        *size = addSize(*size, of);
    }
    return true;
}

constexpr CK_ATTRIBUTE_TYPE kSkipped = 0xFFFFFFFF; // -1 in Java

// Reserves aligned memory for the entries of a template; null after raising when it does not fit.
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

std::size_t openTemplate(JNIEnv* env, jintArray types, jobjectArray values, EncodedTemplate* opened)
{
    if (types == nullptr || values == nullptr)
        return 0;

    std::size_t size = 0;
    Instance arrays = openArrays(env, types, values, &opened->arrays);
    bool sized = arrays == Instance::yes && sizeArrays(env, opened->arrays, &size);
    opened->state = sized                    ? EncodedTemplate::open
                    : arrays == Instance::no ? EncodedTemplate::inconsistent
                                             : EncodedTemplate::failed;
    return size;
}

bool templateObjectSize(JNIEnv* env, jobject value, bool nested, std::size_t* size)
{
    *size = 0;
    TemplateArrays arrays;
    arrays.nested = nested;
    Instance is = openTemplateObject(env, value, &arrays);
    bool sized = is != Instance::failed && (is == Instance::no || sizeArrays(env, arrays, size));
    closeTemplateObject(env, arrays);
    *size = addSize(*size, is == Instance::yes ? alignof(CK_ATTRIBUTE) - 1 : 0);
    return sized;
}
