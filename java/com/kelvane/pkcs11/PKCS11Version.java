package com.kelvane.pkcs11;

/** Reads the versions of the information classes: one {@code int}, major &times; 256 + minor. */
public final class PKCS11Version {
    /** Nothing to build: the methods are static. */
    private PKCS11Version() {
    }

    /**
     * Returns the major part of a version.
     *
     * @param version the version
     * @return 0 to 255
     */
    public static int major(int version) {
        return version >> 8 & 0xff;
    }

    /**
     * Returns the minor part of a version: 40 for version 2.40, 2 for version 3.2.
     *
     * @param version the version
     * @return 0 to 255
     */
    public static int minor(int version) {
        return version & 0xff;
    }

    /**
     * Returns a version as text.
     *
     * @param version the version
     * @return the two parts with a point between them, {@code 2.40} or {@code 3.2} for example
     */
    public static String toString(int version) {
        return major(version) + "." + minor(version);
    }
}
