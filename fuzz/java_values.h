// Java values of every shape that reaches the library, well-formed and otherwise, and what another thread does to them.
#pragma once

#include "fake_jni.h"
#include "input.h"

/// A number, often one at an edge.
jint anyInt(Input* input);

/// An array of some length with some content; sometimes null.
Ref anyBytes(Input* input);

/// The same, for a call to write to.
Ref anyOutput(Input* input);

/// The types of a template, and its values, mostly of the right classes.
Ref anyTypes(Input* input);
Ref valuesFor(Input* input, Ref types);

/// A String, a byte[] or another object.
Ref anyObject(Input* input);

/// An attribute type, and a value that it takes or not.
jint anyAttribute(Input* input);
Ref valueOf(Input* input, jint attribute);

/// A mechanism and a parameter, mostly the one that it takes.
struct MechanismValue
{
    jint mechanism;
    Ref parameter;
};
MechanismValue anyMechanism(Input* input, const std::vector<Object*>& keys);

/// Once in a while changes a field, an element or some bytes of one of Java's objects, but for the first so many.
void meddle(Input* input, std::size_t kept);
