// An attribute's value on its way from the module: a call for those of fixed size, a size query and a second call for
// the others. The length that a module reports is checked against the capacity it was given.
//
// All of these raise what the module has answered, and 0x150 for a value that has grown since it was announced.
#pragma once

#include <jni.h>

#include "bridge/resolve.h"
#include "bridge/stack_buffer.h"
#include "marshal/attribute_kinds.h"

/// Holds every value of fixed size, with some bytes to spare: there are modules that write more than they were offered.
struct Scratch
{
    alignas(CK_ULONG) unsigned char bytes[16];
};

/// The size of a value of fixed size; 0 for a kind whose length is queried first.
CK_ULONG fixedSize(ValueKind kind);

bool fetchFixed(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE_TYPE type, ValueKind kind, Scratch* scratch,
                CK_ULONG* length);

bool fetchLength(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE_TYPE type, CK_ULONG* length);

/// Reads a value of an announced length as a String, or as an int[] of its CK_ULONGs. False when there was no stack for
/// it, which is not raised yet.
bool fetchText(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE_TYPE type, CK_ULONG capacity, StackBudget budget,
               jobject* text);
bool fetchNumbers(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE_TYPE type, CK_ULONG capacity,
                  StackBudget budget, jobject* numbers);

/// Reads bytes of an announced length into a new array. Null when it could not be created; an array whose bytes could
/// not be read comes back too, with the reason raised and *fetched false.
jbyteArray fetchBytes(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE_TYPE type, CK_ULONG capacity,
                      bool* fetched);
