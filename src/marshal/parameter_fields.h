// Reading the fields of a Java parameter object into its Cryptoki structure.
//
// One function for each structure lists its fields in the standard's order, each with its Java field. It
// runs twice: first to size the blocks that the structure points to, then to write the structure, and the blocks into
// the area behind it. No block is ever placed, and no length passed on, that reaches outside that area, whatever Java
// has changed between the two runs.
//
// Everything here returns false as soon as JNI has failed, with the virtual machine's error pending. A refusal is
// raised by the run that writes alone: kWrongParameter, or encodeMechanism's text.
#pragma once

#include <cstddef>
#include <initializer_list>

#include <jni.h>

#include "bridge/cryptoki.h"

constexpr CK_RV kWrongParameter = CKR_MECHANISM_PARAM_INVALID;

/// A Java parameter object, in one of its two runs.
struct ParameterFields
{
    JNIEnv* env;
    jobject object;
    jclass type;
    CK_BYTE_PTR area; ///< null in the run that sizes
    CK_ULONG areaSize;
    CK_ULONG used; ///< the end of the blocks that have been placed
};

inline bool isSizing(const ParameterFields* java)
{
    return java->area == nullptr;
}

/// What null means where a parameter object is expected.
enum class NullPolicy
{
    reject,
    omit,        ///< no parameter; for a structure within another one, zeros
    noBytes,     ///< a parameter of no bytes
    nullPointer, ///< for a structure that another one points to
};

struct ParameterOutput;

/// A parameter: its Java class, and the function that reads the fields of one into the other.
struct ParameterDescriptor
{
    const char* className; ///< null where no object is accepted
    std::size_t size;      ///< of the structure; 0 where the parameter is bytes of any length
    NullPolicy null;
    bool (*fields)(ParameterFields* java, void* structure);
    const ParameterOutput* output; ///< what the module writes, mechanism.h; null for nothing
    const char* refusal;           ///< raised for every value; null for a parameter that is encoded
};

/// The structure in the run that sizes, which writes no fields.
struct SizedStructure
{
    CK_ULONG words[16] = {};
};

template <typename Structure, bool (*fields)(ParameterFields*, Structure*)>
constexpr ParameterDescriptor describe(const char* className, NullPolicy null = NullPolicy::reject,
                                       const ParameterOutput* output = nullptr)
{
    static_assert(sizeof(Structure) <= sizeof(SizedStructure));
    return {className,
            sizeof(Structure),
            null,
            [](ParameterFields* java, void* structure) { return fields(java, static_cast<Structure*>(structure)); },
            output,
            nullptr};
}

/// Tests the class, which stays in `type`, and goes through the fields. Null is rejected, like an object of another
/// class.
bool readStructure(ParameterFields* java, const ParameterDescriptor& descriptor, void* structure);

/// The same for the object of a field, whose structure lies within the parameter's own. Its blocks follow those of the
/// parameter. *present is false for null.
bool readMember(ParameterFields* java, const char* name, const ParameterDescriptor& descriptor, NullPolicy null,
                void* structure, bool* present = nullptr);

/// The same for a structure that the parameter's own points to: it lies among the blocks. The area begins aligned, so
/// one whose fields need that goes before all blocks.
bool placeMember(ParameterFields* java, const char* name, const ParameterDescriptor& descriptor, NullPolicy null,
                 void** place);

/// The same for the array of a field, whose structures lie one behind the other, aligned. Null is no structure, a null
/// element is rejected.
bool placeStructures(ParameterFields* java, const char* name, const ParameterDescriptor& descriptor, void** records,
                     CK_ULONG* count);

/// The same for an object of any of these classes, or a byte[], whose bytes are placed as they are. Null is a null
/// pointer; any other object is rejected.
bool placeAny(ParameterFields* java, const char* name, std::initializer_list<const ParameterDescriptor*> descriptors,
              void** place, CK_ULONG* size);

/// Reserves aligned bytes in the area. False after raising when there are too few.
bool reserveAligned(ParameterFields* java, std::size_t size, void** place);

/// Reads an int field as an unsigned number.
bool readUlong(ParameterFields* java, const char* name, CK_ULONG* value);

bool readByte(ParameterFields* java, const char* name, CK_BYTE* value);

/// Reads a boolean field.
bool readFlag(ParameterFields* java, const char* name, CK_BBOOL* value);

/// Copies an array behind the blocks placed so far and points there; null is a block of length 0. `length` may be null
/// where the structure does not hold one.
bool placeArray(ParameterFields* java, jbyteArray array, CK_BYTE_PTR* block, CK_ULONG* length);

/// The same for a byte[] field.
bool placeBlock(ParameterFields* java, const char* name, CK_BYTE_PTR* block, CK_ULONG* length);

/// The same for a block that is a null pointer when its length is 0, which every module accepts.
bool placeBlockOrNull(ParameterFields* java, const char* name, CK_BYTE_PTR* block, CK_ULONG* length);

/// Copies a byte[] field to an offset in the area that is a Java int. Rejects it when the int, or
/// the array from there on, reaches outside.
bool placeBlockAt(ParameterFields* java, const char* name, CK_ULONG offset, CK_BYTE_PTR* block);

/// Copies a byte[] field of `shortest` to `longest` bytes into the structure itself.
bool readBytes(ParameterFields* java, const char* name, void* bytes, CK_ULONG longest, CK_ULONG shortest);

/// Raises kWrongParameter unless the condition holds. In the run that sizes every condition holds.
bool checkParameter(const ParameterFields* java, bool condition);

/// The same for `length` bytes at `offset`, which must lie in the area.
bool checkInside(const ParameterFields* java, CK_ULONG offset, CK_ULONG length);

/// The length of a byte[] field, in both runs; 0 for null.
bool readBlockLength(ParameterFields* java, const char* name, CK_ULONG* length);

/// As readObjectField, for a byte[] field.
bool readByteArrayField(const ParameterFields* java, const char* name, jbyteArray* array);
