// Reading the fields of a Java parameter object into a structure and into the area behind it, where the blocks go that
// the structure points to. No block is ever placed, and no length handed on, that reaches outside the area.
#pragma once

#include <cstddef>

#include <jni.h>

#include "cryptoki.h"

/// A Java parameter object while it is encoded.
struct ParameterFields
{
    JNIEnv* env;
    jobject object;
    jclass type;
    CK_RV wrongType;
    CK_BYTE_PTR area;
    CK_ULONG areaSize;
    CK_ULONG used; ///< where the blocks placed one after the other end
};

/// Tests the class and sets *len from the room at `dest` to `structSize`; the rest of the room is the area.
/// Raises `wrongType`.
bool openParameter(JNIEnv* env, jobject parameter, const char* className, void* dest, std::size_t structSize,
                   CK_ULONG* len, CK_RV wrongType, ParameterFields* fields);

/// Opens an object that a field of the parameter holds; its blocks go on where the parameter's end. Raises `wrongType`
/// for null.
bool openMember(const ParameterFields& owner, const char* name, const char* className, ParameterFields* member);

/// Drops the references of a member: one native method may hold 16 at once.
void closeMember(const ParameterFields& member);

/// Reads an int field as an unsigned number.
bool readUlong(const ParameterFields& fields, const char* name, CK_ULONG* value);

bool readByte(const ParameterFields& fields, const char* name, CK_BYTE* value);

/// Copies a byte[] field behind the blocks placed so far and points there; null is a block of length 0. `length` may be
/// null where the structure does not hold one.
bool placeBlock(ParameterFields* fields, const char* name, CK_BYTE_PTR* block, CK_ULONG* length);

/// Copies a byte[] field to where a Java int puts it, counted from the start of the area. Raises `wrongType` when the
/// int, or the array from there on, reaches outside.
bool placeBlockAt(const ParameterFields& fields, const char* name, CK_ULONG offset, CK_BYTE_PTR* block);

/// Raises `wrongType` unless `length` bytes at `offset` lie in the area.
bool requireInside(const ParameterFields& fields, CK_ULONG offset, CK_ULONG length);

/// The length of a byte[] field; 0 for null.
bool readBlockLength(const ParameterFields& fields, const char* name, CK_ULONG* length);

/// As readObjectField, for a byte[] field.
bool readByteArrayField(JNIEnv* env, jobject object, jclass type, const char* name, jbyteArray* array);
