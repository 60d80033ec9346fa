// Reading the fields of a Java parameter object into the structure that it stands for.
//
// One function for each structure names its fields in the standard's order, and the Java field that each comes from. It
// runs twice: first to measure the blocks that the structure points to, then to write the structure, and the blocks
// into the area behind it. No block is ever placed, and no length handed on, that reaches outside that area, whatever
// Java has changed between the two runs.
//
// Everything here returns false as soon as JNI has failed, with the virtual machine's error pending. A refusal is
// raised by the run that writes alone: `kWrongParameter`, or what encodeMechanism says.
#pragma once

#include <cstddef>
#include <initializer_list>

#include <jni.h>

#include "bridge/cryptoki.h"

constexpr CK_RV kWrongParameter = CKR_MECHANISM_PARAM_INVALID;

/// A Java parameter object in one of its two runs.
struct ParameterFields
{
    JNIEnv* env;
    jobject object;
    jclass type;
    CK_BYTE_PTR area; ///< null in the run that measures
    CK_ULONG areaSize;
    CK_ULONG used; ///< where the blocks placed one after the other end
};

inline bool measures(const ParameterFields* java)
{
    return java->area == nullptr;
}

/// What null stands for where a parameter object is expected.
enum class Null
{
    refused,
    none,    ///< no parameter; within a structure, zeros
    pointer, ///< for what a structure points to: a null pointer
};

/// A structure, the Java class it is made from, and the function that goes through the fields of both.
struct ParameterStructure
{
    const char* className;
    std::size_t size;
    Null null;
    bool (*fields)(ParameterFields* java, void* structure);
};

/// Stands in for a structure in the run that measures, which writes no fields.
struct MeasuredStructure
{
    CK_ULONG words[16] = {};
};

template <typename Structure, bool (*fields)(ParameterFields*, Structure*)>
constexpr ParameterStructure describe(const char* className, Null null = Null::refused)
{
    static_assert(sizeof(Structure) <= sizeof(MeasuredStructure));
    return {className, sizeof(Structure), null,
            [](ParameterFields* java, void* structure) { return fields(java, static_cast<Structure*>(structure)); }};
}

/// Tests the class, which stays in `type`, and goes through the fields. Null is refused, like an object of another
/// class.
bool readStructure(ParameterFields* java, const ParameterStructure& description, void* structure);

/// The same for the object of a field, whose structure lies within the parameter's own. Its blocks go on where the
/// parameter's end. *there tells whether there is an object.
bool readMember(ParameterFields* java, const char* name, const ParameterStructure& description, Null null,
                void* structure, bool* there = nullptr);

/// The same for a structure that the parameter's own points to: it lies among the blocks. The area begins aligned, so
/// one whose fields need that goes before all blocks.
bool placeMember(ParameterFields* java, const char* name, const ParameterStructure& description, Null null,
                 void** place);

/// The same for the array of a field, whose structures lie one behind the other, aligned. Null is none of them, a null
/// element refused.
bool placeRecords(ParameterFields* java, const char* name, const ParameterStructure& description, void** records,
                  CK_ULONG* count);

/// The same for an object of any of these classes, or a byte[], whose bytes are placed as they are. Null is a null
/// pointer; any other object is refused.
bool placeAny(ParameterFields* java, const char* name, std::initializer_list<const ParameterStructure*> descriptions,
              void** place, CK_ULONG* size);

/// Takes aligned room in the area. False after raising when there is none.
bool takeRoom(ParameterFields* java, std::size_t size, void** place);

/// Reads an int field as an unsigned number.
bool readUlong(ParameterFields* java, const char* name, CK_ULONG* value);

bool readByte(ParameterFields* java, const char* name, CK_BYTE* value);

/// Reads a boolean field.
bool readFlag(ParameterFields* java, const char* name, CK_BBOOL* value);

/// Copies a byte[] field behind the blocks placed so far and points there; null is a block of length 0. `length` may be
/// null where the structure does not hold one.
bool placeBlock(ParameterFields* java, const char* name, CK_BYTE_PTR* block, CK_ULONG* length);

/// The same for a block that modules know by its length: one of no bytes is a null pointer, which all of them take.
bool placeBlockOrNull(ParameterFields* java, const char* name, CK_BYTE_PTR* block, CK_ULONG* length);

/// Copies a byte[] field to where a Java int puts it, counted from the start of the area. Refuses it when the int, or
/// the array from there on, reaches outside.
bool placeBlockAt(ParameterFields* java, const char* name, CK_ULONG offset, CK_BYTE_PTR* block);

/// Copies a byte[] field of `shortest` to `room` bytes into the structure itself.
bool readBytes(ParameterFields* java, const char* name, void* bytes, CK_ULONG room, CK_ULONG shortest);

/// Refuses what does not hold. In the run that measures everything holds.
bool demand(const ParameterFields* java, bool condition);

/// Refuses `length` bytes at `offset` that do not lie in the area.
bool demandInside(const ParameterFields* java, CK_ULONG offset, CK_ULONG length);

/// The length of a byte[] field, in both runs; 0 for null.
bool readBlockLength(ParameterFields* java, const char* name, CK_ULONG* length);

/// As readObjectField, for a byte[] field.
bool readByteArrayField(const ParameterFields* java, const char* name, jbyteArray* array);
