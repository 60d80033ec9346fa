// The structures of Cryptoki: one as text, and one filled from an answer.
#pragma once

#include <map>
#include <string>
#include <string_view>

#include "bridge/cryptoki.h"

/// An answer's words, "name=value" each. Byte values are kept as hexadecimal digits.
using Values = std::map<std::string, std::string, std::less<>>;

/// Reads words divided by blanks. A value in single quotes is text and may hold blanks; it is kept as hexadecimal.
Values parseValues(const std::string& text);

/// The named value, or null.
const std::string* find(const Values& values, std::string_view name);

/// A number in C notation; `fallback` when the name is absent.
CK_ULONG number(const Values& values, std::string_view name, CK_ULONG fallback);

/// In wide mode every handle that the token returns needs more than 32 bits. Answers and calls show it without these.
inline bool wideHandles;
CK_ULONG widened(CK_ULONG handle);
CK_ULONG narrowed(CK_ULONG handle);

std::string unhex(std::string_view digits);
std::string hex(const void* bytes, CK_ULONG length);
std::string code(CK_ULONG value);

/// A pointer as a distance from `base`: "+24", or "null".
std::string place(const void* pointer, const void* base);

/// Bytes, or "null", and the length of null if it is not 0.
std::string showBytes(const void* bytes, CK_ULONG length);

/// Whether an attribute's value is a template itself.
bool holdsTemplate(CK_ATTRIBUTE_TYPE type);

/// "[type@place:value ...]"; of a query the capacity of each instead of the value.
std::string showTemplate(const CK_ATTRIBUTE* attributes, CK_ULONG count, bool query);

/// The name of the structure that a mechanism's parameter is, or that the values name as "as"; empty when there is none
/// or its size is another one's.
std::string structureOf(const CK_MECHANISM& mechanism, const Values& values);

/// "NAME{field=value ...}". Pointers are shown as their distance from the structure's start and their target.
std::string describe(const std::string& name, const void* structure);

/// Writes the named fields and the data behind pointers, never more than their length.
void fill(const std::string& name, void* structure, const Values& values);
