// The frame of every native call, which takes the same steps in the same order:
//
//     resolve   the handles and the function list behind a Java object         resolve.h
//     marshal   Java's arguments, into memory on the native method's stack      stack_buffer.h, buffers.h, src/marshal
//     call      the module, once, under the lock that its library needs         guarded_call.h
//     release   what was pinned, in the mode that its use requires              buffers.h
//     raise     a failure                                                       exception.h
//     or build  the result                                                      java_objects.h
//
// The first parameter is the calling thread's JNIEnv. Unless documented otherwise, a function that fails has raised
// one PKCS11Exception, or leaves the virtual machine's own error pending (a class, field or method that was not found),
// and its caller returns a neutral value to Java at once. No JNI class, field or method ID is kept between calls.
#pragma once

#include "bridge/exception.h"
#include "bridge/guarded_call.h"
#include "bridge/java_numbers.h"
#include "bridge/java_objects.h"
#include "bridge/resolve.h"
