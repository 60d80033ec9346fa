/**
 * The calls of PKCS #11 (Cryptoki, version 2): four classes whose native methods each call a
 * Cryptoki library, and whose other methods put those together for what programs do most.
 *
 * <p>The other methods are {@link com.kelvane.pkcs11.nat.NativePKCS11#findSlot findSlot}, {@code findObjects}, those
 * that take a {@link com.kelvane.pkcs11.Template}, and those that encrypt, decrypt, digest, sign, verify or wrap all of
 * the data or of a stream. The latter need no output buffer from the caller, always end what they begin, and refuse a
 * key that is no object (0) by {@code CKR_KEY_HANDLE_INVALID} (0x60). What follows is about the native ones, and holds
 * for those that take a {@code Template} too.
 *
 * <h2>Handles</h2>
 *
 * <p>An object knows its session, a session its slot, a slot its library; the library knows the address of its function
 * list. The chain is followed in every call. Where it is broken by a null, "obj is null" is raised, and "functionList
 * is null" where the library is not loaded or released. A null where a key or object is needed raises "obj is null"
 * too. An argument that is a key or object whose {@code int} is 0, "no object", makes a call return at once: nothing is
 * raised, nothing is done, and the result is 0, false or null (3 for the two GCM methods). The methods of such an
 * object pass the 0 to the module, which refuses it by {@code CKR_OBJECT_HANDLE_INVALID} (0x82) as a rule.
 *
 * <p>A handle of up to 32 bits is in the {@code int} of its object. A wider one is in the field {@code handle}, a
 * {@code long}; the {@code int} is 0xFFFFFFFF then. After its session, object or library has ended, a handle means what
 * it means in C: the module decides.
 *
 * <p>Nothing is closed or destroyed on its own: sessions and objects are to be closed and destroyed by their methods.
 * What other classes mean by attributes, templates and mechanisms is in the description of {@link com.kelvane.pkcs11}.
 *
 * <h2>Buffers</h2>
 *
 * <p>Data is passed in a {@code byte[]} with an offset, and for input with a length. Output goes into an array of the
 * caller, and its capacity is all from the offset to the end; an offset equal to the array's length is a capacity of 0
 * and queries the length needed. A null array, a negative offset or a negative length is refused with
 * {@code CKR_DATA_INVALID} (0x20), and a part that does not lie within the array with {@code CKR_BUFFER_TOO_SMALL}
 * (0x150), before the token is called; "getBuffer(): can't get elements" is raised without memory. Arrays are copied
 * whole in every call; output arrays are copied back even if the call fails.
 *
 * <p>PINs and labels are a {@code String}, taken as modified UTF-8, or a {@code byte[]}, taken as it is. The bridge's
 * own copies of PINs are wiped; the array is the caller's to clear.
 *
 * <h2>Failures</h2>
 *
 * <p>A failure raises a {@link com.kelvane.pkcs11.PKCS11Exception} with the module's return code, or with a code or
 * text of the bridge; the methods name those that are their own. If several things fail in one call, the first is
 * raised. A function that the library does not have raises {@code CKR_FUNCTION_NOT_SUPPORTED} (0x54). A module that
 * returns a length above the capacity is refused with {@code CKR_BUFFER_TOO_SMALL} (0x150), but for encryption and
 * decryption, which return the length needed. A call that needs more of the thread's stack than is left is refused:
 * "alloca() failed" and texts that contain it, "memory allocation for temporary template failed!", "no space for
 * encoded attribute!", "copyStringBytes(): no space for encoded String!", "no space for encoded mechanism /
 * parameter!". A key, object or session that a call has created and cannot return is destroyed or closed.
 *
 * <h2>Threads</h2>
 *
 * <p>All methods may be called by any threads at once. A library that locks for itself is called without further ado.
 * For any other one, each single call of the library is made under the bridge lock, the monitor of the class
 * {@link com.kelvane.pkcs11.nat.NativePKCS11}, which is one for the whole process. Calls that belong together, such as
 * the start of an operation and its end, are not protected as a whole. A session may be closed only while no other
 * thread uses it: some libraries end the process otherwise. {@code closeAllSessions} and the last {@code libFinalize}
 * wait for calls in progress.
 *
 * <h2>The native library</h2>
 *
 * <p>It is loaded with the first of these classes: from the absolute path in the system property
 * {@code tokbridge.library}, or, if that is unset, by the name {@code tokbridge} from {@code java.library.path}, or
 * else from the jar, if that brings it: through a directory in {@code java.io.tmpdir}. An {@code UnsatisfiedLinkError}
 * has the reason why it cannot be loaded, and what to set; it is raised by the constructors, the same at every use,
 * since the library is tried once. If the environment variable {@code PKCS11DEBUG} is set, to any value, some calls
 * print what they do to standard output; it is read in every call.
 */
package com.kelvane.pkcs11.nat;
