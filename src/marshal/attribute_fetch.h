// Fetching an attribute's value from the module: a call for those of fixed size, a size query and a second call for
// the others. The length that a module reports is checked against the capacity it was given.
//
// All of these raise the module's return code, and 0x150 for a value that has grown since its length was reported.
#pragma once

#include <jni.h>

#include "bridge/resolve.h"
#include "bridge/stack_buffer.h"
#include "marshal/attribute_kinds.h"

/// Holds every value of fixed size, with some bytes to spare: some modules write more than the capacity.
struct Scratch
{
    alignas(CK_ULONG) unsigned char bytes[16];
};

/// The size of a value of fixed size; 0 for a kind whose length is queried first.
CK_ULONG fixedSize(ValueKind kind);

bool fetchFixed(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE_TYPE type, ValueKind kind, Scratch* scratch,
                CK_ULONG* length);

bool fetchLength(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE_TYPE type, CK_ULONG* length);

/// Reads a value of a reported length as a String, or as an int[] of its CK_ULONGs. False when the stack does not
/// suffice, which is not raised yet.
bool fetchText(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE_TYPE type, CK_ULONG capacity, StackBudget budget,
               jobject* text);
bool fetchNumbers(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE_TYPE type, CK_ULONG capacity,
                  StackBudget budget, jobject* numbers);

/// Reads bytes of a reported length into a new array. Null when it could not be created; an array whose bytes could
/// not be read is returned too, with the reason raised and *fetched false.
jbyteArray fetchBytes(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE_TYPE type, CK_ULONG capacity,
                      bool* fetched);
