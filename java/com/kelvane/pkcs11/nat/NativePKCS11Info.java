package com.kelvane.pkcs11.nat;

import com.kelvane.pkcs11.PKCS11Version;

/** Information about a Cryptoki module ({@code CK_INFO}), and the version of the native library. */
public final class NativePKCS11Info {
    /** The texts, as the getters of the same names return them. */
    private final String manufacturerID, libraryDescription, nativeVersion;

    /** The numbers, as the getters of the same names return them. */
    private final int cryptokiVersion, flags, libraryVersion;

    /**
     * Creates the information; {@link NativePKCS11#getInfo} does.
     *
     * @param cryptokiVersion the Cryptoki version that the library implements
     * @param manufacturerID the name of the library's maker
     * @param flags the library's flags
     * @param libraryDescription the description of the library
     * @param libraryVersion the version of the library
     * @param nativeVersion the version text of the native library under these classes
     */
    public NativePKCS11Info(int cryptokiVersion, String manufacturerID, int flags, String libraryDescription,
        int libraryVersion, String nativeVersion) {
        this.cryptokiVersion = cryptokiVersion;
        this.manufacturerID = manufacturerID;
        this.flags = flags;
        this.libraryDescription = libraryDescription;
        this.libraryVersion = libraryVersion;
        this.nativeVersion = nativeVersion;
    }

    /**
     * Returns the Cryptoki version that the library implements.
     *
     * @return major &times; 256 + minor; see {@link PKCS11Version}
     */
    public int getCryptokiVersion() {
        return cryptokiVersion;
    }

    /**
     * Returns the name of the library's maker.
     *
     * @return the name of the library's maker
     */
    public String getManufacturerID() {
        return manufacturerID;
    }

    /**
     * Returns the library's flags.
     *
     * @return 0 in every version of the standard so far
     */
    public int getFlags() {
        return flags;
    }

    /**
     * Returns the description of the library.
     *
     * @return the description of the library
     */
    public String getLibraryDescription() {
        return libraryDescription;
    }

    /**
     * Returns the version of the library.
     *
     * @return major &times; 256 + minor; see {@link PKCS11Version}
     */
    public int getLibraryVersion() {
        return libraryVersion;
    }

    /**
     * Returns the version text of the native library under these classes.
     *
     * @return the version text of the native library under these classes
     */
    public String getNativeVersion() {
        return nativeVersion;
    }

    @Override
    public String toString() {
        return libraryDescription + " " + PKCS11Version.toString(libraryVersion) + " (" + manufacturerID + ", Cryptoki "
            + PKCS11Version.toString(cryptokiVersion) + ")";
    }
}
