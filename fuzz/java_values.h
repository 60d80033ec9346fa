// Java values, well-formed and otherwise, and the changes that another thread makes to them.
#pragma once

#include "fake_jni.h"
#include "input.h"

/// A number, often one at an edge.
jint anyInt();

/// An attribute type of the standard, seldom another number.
jint anyAttribute();

/// A mechanism of the standard, seldom another number.
jint anyMechanism();

/// The types of a template, or of one within it, and as many values; either is seldom null, or of another length.
Ref anyTypes(bool within = false);
Ref anyValues(Ref types);

/// An object of a class, or an open one, which is mostly of the class that the library asks for; seldom null.
Ref anyObject(std::string_view type = "", bool isOutput = false);

/// The value of a field or getter of an open object: see Fake::missingField.
std::int64_t missingValue(Object& owner, const std::string& name);

/// Changes a field, an element or a byte of one of Java's objects once in a while, except for the first so many.
void meddle(std::size_t kept);
