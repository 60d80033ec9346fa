package com.kelvane.pkcs11.nat;

import com.kelvane.pkcs11.PKCS11Exception;
import com.kelvane.pkcs11.PKCS11Interface;
import com.kelvane.pkcs11.PKCS11Slot;
import com.kelvane.pkcs11.PKCS11TokenInfo;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.List;
import java.util.Map;
import java.util.Objects;
import java.util.Optional;
import java.util.stream.Collectors;
import java.util.stream.Stream;

/**
 * A Cryptoki library, loaded from a file.
 *
 * <p>The order of use is {@link #load}, {@link #libInitialize}, any other calls, {@link #libFinalize}. Up to 20
 * different libraries can be in use at once. Several objects can hold one library: it is initialised by the first
 * {@code libInitialize} and finalised by the last {@code libFinalize}, and the file stays loaded as long as the process
 * runs.
 *
 * <p>The monitor of this class is the bridge lock, see the description of the package.
 */
public class NativePKCS11 implements AutoCloseable {
    /** The address of the library's function list; 0 before {@link #load} and after {@link #libFinalize}. */
    private volatile long functionList;

    /** Creates an object that holds no library yet. */
    public NativePKCS11() {
        NativeLibrary.require();
    }

    /**
     * Finds the file of a module by its name.
     *
     * @param name the file's name, or what is left of it without {@code lib} and {@code .so}: {@code "softhsm2"}
     * @param directories where to look; none for the directories in which Linux distributions install modules
     * @return the file; empty if none of the directories has it
     * @throws IllegalArgumentException if no file can have the name
     */
    public static Optional<Path> findModule(String name, Path... directories) {
        List<Path> searched = directories.length > 0 ? List.of(directories) : installed();
        return searched.stream().flatMap(directory -> Stream.of(name, System.mapLibraryName(name),
            System.mapLibraryName(name).replaceFirst("^lib", "")).map(directory::resolve))
            .filter(Files::isRegularFile).findFirst();
    }

    private static List<Path> installed() {
        String processor = System.getProperty("os.arch");
        String system = Map.of("amd64", "x86_64").getOrDefault(processor, processor) + "-linux-gnu";
        return Stream.of("/usr/lib/" + system, "/usr/lib64", "/usr/lib", "/usr/local/lib")
            .flatMap(each -> Stream.of(each + "/pkcs11", each + "/softhsm", each + "/nss", each)).map(Path::of)
            .collect(Collectors.toList());
    }

    /**
     * Loads a Cryptoki library, which this object holds from then on. Each successful call must be matched by one
     * {@link #libFinalize} before the next: the library that a loaded object held could not be released any
     * more.
     *
     * <p>If the system does not load the file ({@code LoadLibrary("...") failed}), the exception's cause is an
     * {@code UnsatisfiedLinkError} with the system's reason: a file that is missing, a library that the module needs
     * and the system does not find, a file for another kind of machine. For this the virtual machine loads the file. It
     * binds functions late, so a module that lacks a function it calls stays loaded in the process, though unused, and
     * the reason mentions it. A name without a directory has no cause: it is not searched for where the system does.
     *
     * @param path the path of the file; see {@link #loadPKCS11Library}
     * @throws PKCS11Exception as {@link #loadPKCS11Library} raises it; this object is unchanged then
     */
    public void load(String path) {
        try {
            functionList = loadPKCS11Library(path);
        } catch (PKCS11Exception failure) {
            if (!failure.hasCode() && failure.getMessage().startsWith("LoadLibrary(")) {
                failure.initCause(NativeLibrary.reasonNotToLoad(path));
            }
            throw failure;
        }
    }

    /**
     * Returns the address of the library's function list.
     *
     * @return the address; 0 before {@link #load} and after {@link #libFinalize}
     */
    public long getFunctionList() {
        return functionList;
    }

    /**
     * Loads a Cryptoki library of version 2 and enters it in the process's table of libraries; the object itself is not
     * changed. {@link #load} calls this and keeps the result.
     *
     * <p>With the environment variable {@code PKCS11DEBUG} set, the system's reason for a failed load is printed to
     * standard output. {@link #load} throws it without that.
     *
     * @param path the path of the file, at most 255 bytes of modified UTF-8; a path of exactly 256 bytes ends the
     *     process at once
     * @return the address of the library's function list
     * @throws PKCS11Exception "copyStringBytes(): buffer too small for string!" for a path of more than 256 bytes,
     *     "GetStringUTFChars() failed" for null, {@code LoadLibrary("...") failed} with the path,
     *     {@code GetProcAddress("C_GetFunctionList") failed}, "C_GetFunctionList() failed", "wrong Cryptoki version
     *     (3.00)" with the version found, or "too many different libraries referenced!" for the 21st library
     */
    public native long loadPKCS11Library(String path);

    /**
     * Initialises the library ({@code C_Initialize}), unless it has been already through this or another object.
     *
     * <p>The library is requested to lock by itself with the operating system's primitives. If it cannot
     * ({@code CKR_CANT_LOCK}), it is initialised without, and from then on called under the bridge lock.
     *
     * @throws PKCS11Exception with the module's return code, {@code CKR_CRYPTOKI_ALREADY_INITIALIZED} included;
     *     "functionlist dll not found" if the library is not in the table of libraries
     */
    public native void libInitialize();

    /**
     * Releases the library: the object holds no library from then on, even after an exception. The last object to
     * do so finalises the library ({@code C_Finalize}), if it was initialised; all sessions end then.
     *
     * <p>The last object waits until the calls in progress through a library that locks for itself have returned (a
     * blocking {@link #waitForSlotEvent} excepted, which {@code C_Finalize} ends), five seconds at most; a call that
     * comes later raises "functionList is null". If another object loads the library meanwhile, it keeps it, and
     * nothing is finalised. But for that wait the whole call is made under the bridge lock.
     *
     * @throws PKCS11Exception with the module's return code, which is out of the table even so; "attempt to finalize
     *     invalid DLL" if it was not in use; "functionList is null" if this object holds no library
     */
    public native void libFinalize();

    /**
     * Releases the library, as {@link #libFinalize} does; does nothing if this object holds no library.
     *
     * @throws PKCS11Exception with the module's return code, which is released even so
     */
    @Override
    public void close() {
        if (functionList != 0) {
            libFinalize();
        }
    }

    /**
     * Returns information about the module ({@code C_GetInfo}).
     *
     * @return the information
     */
    public native NativePKCS11Info getInfo();

    /**
     * Returns the interfaces that the library offers beside its function list of version 2 ({@code C_GetInterfaceList},
     * edition 3.0, twice).
     *
     * @return the interfaces in the order of the library
     * @throws PKCS11Exception with {@code CKR_FUNCTION_NOT_SUPPORTED} for a library of version 2 alone
     */
    public PKCS11Interface[] getInterfaces() {
        return NativeExtensions.getInterfaces(this);
    }

    /**
     * Returns the slots of the library ({@code C_GetSlotList}).
     *
     * @param tokenPresent true for the slots with a token only
     * @return the slots, each a {@link NativePKCS11Slot}; an empty array if there are none
     * @throws PKCS11Exception with the module's return code, {@code CKR_BUFFER_TOO_SMALL} if slots appeared during the
     *     call
     */
    public native PKCS11Slot[] getSlotList(boolean tokenPresent);

    /**
     * Finds the slots with a token whose information can be read ({@link PKCS11Slot#getTokenInfo}). A slot without it,
     * because its token has just gone or the module does not know it, is left out and does not hide the others.
     *
     * @return the slots in the order of the library; each is called when the stream reaches it
     * @throws PKCS11Exception as {@link #getSlotList} raises it
     */
    public Stream<PKCS11Slot> slotsWithTokens() {
        return Arrays.stream(getSlotList(true)).filter(slot -> tokenIn(slot) != null);
    }

    /**
     * Finds the slot of a token, which is known by its label or serial number: the numbers of slots move.
     *
     * @param labelOrSerial the whole label of the token, or its whole serial number, without trailing blanks
     * @return the slot; empty if no slot has such a token
     * @throws PKCS11Exception as {@link #getSlotList} raises it
     * @throws IllegalArgumentException if several tokens could be meant; {@link #slotsWithTokens} has them all
     */
    public Optional<PKCS11Slot> findSlot(String labelOrSerial) {
        Objects.requireNonNull(labelOrSerial, "labelOrSerial");
        List<PKCS11Slot> found = Arrays.stream(getSlotList(true)).filter(slot -> {
            PKCS11TokenInfo token = tokenIn(slot);
            return token != null && (labelOrSerial.equals(token.getLabel())
                || labelOrSerial.equals(token.getSerialNumber()));
        }).collect(Collectors.toList());
        if (found.size() > 1) {
            throw new IllegalArgumentException(found.size() + " tokens are \"" + labelOrSerial + "\": " + found);
        }
        return found.stream().findFirst();
    }

    /** Returns the information about the token in a slot; null if it cannot be read. */
    private static PKCS11TokenInfo tokenIn(PKCS11Slot slot) {
        try {
            return slot.getTokenInfo();
        } catch (PKCS11Exception e) {
            if (e.hasCode()) {
                return null;
            }
            throw e; // not about the slot: the library has been released
        }
    }

    /**
     * Waits for something to happen in a slot, a token put in or taken out ({@code C_WaitForSlotEvent}).
     *
     * <p>Through a library that does not lock for itself, a blocking wait holds the bridge lock: all other calls that
     * need it wait along.
     *
     * @param wait true to block until there is an event, false to look and return
     * @return the slot; null if {@code wait} is false and there is no event
     * @throws PKCS11Exception "Function only available in Cryptoki 2.01!" for a library of version 2.0
     */
    public native NativePKCS11Slot waitForSlotEvent(boolean wait);
}
