package com.kelvane.pkcs11;

/** An interface of a module: a named and numbered set of functions, beside the one that every module has. */
public final class PKCS11Interface {
    private final String name;
    private final int version;
    private final int flags;

    /**
     * Constructs an interface; {@link com.kelvane.pkcs11.nat.NativePKCS11#getInterfaces} returns those of a module.
     *
     * @param name the name, {@code "PKCS 11"} for the standard's own functions
     * @param version the version, see {@link PKCS11Version}
     * @param flags {@link PKCS11Constants#CKF_INTERFACE_FORK_SAFE} or 0
     */
    public PKCS11Interface(String name, int version, int flags) {
        this.name = name;
        this.version = version;
        this.flags = flags;
    }

    /**
     * Returns the interface's name.
     *
     * @return the name, {@code "PKCS 11"} for the standard's own functions
     */
    public String getName() {
        return name;
    }

    /**
     * Returns the version of the interface's functions.
     *
     * @return major × 256 + minor, see {@link PKCS11Version}
     */
    public int getVersion() {
        return version;
    }

    /**
     * Returns the interface's flags.
     *
     * @return {@link PKCS11Constants#CKF_INTERFACE_FORK_SAFE} or 0
     */
    public int getFlags() {
        return flags;
    }

    @Override
    public String toString() {
        return name + " " + PKCS11Version.toString(version);
    }
}
