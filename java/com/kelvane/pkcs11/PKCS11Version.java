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
     * Returns the minor part of a version; the standard counts it in hundredths, so version 2.1 has minor 10.
     *
     * @param version the version
     * @return 0 to 255
     */
    public static int minor(int version) {
        return version & 0xff;
    }

    /**
     * Returns a version as text, the minor part with two digits.
     *
     * @param version the version
     * @return for example {@code 2.40}
     */
    public static String toString(int version) {
        int minor = minor(version);
        return major(version) + (minor < 10 ? ".0" : ".") + minor;
    }
}
