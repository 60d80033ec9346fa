package com.kelvane.pkcs11.nat;

import com.kelvane.pkcs11.PKCS11Constants;
import com.kelvane.pkcs11.PKCS11Exception;
import java.util.function.Supplier;

/** What the short forms add to the native methods: a failure names the call, and what was wrong with a parameter. */
final class ShortForm {
    private ShortForm() {
    }

    /** Calls a function. */
    static <T> T call(String function, Supplier<T> calls) {
        try {
            return calls.get();
        } catch (PKCS11Exception e) {
            throw new PKCS11Exception(e, function);
        }
    }

    /** Calls a function without a result. */
    static void run(String function, Runnable calls) {
        call(function, () -> {
            calls.run();
            return null;
        });
    }

    /** Calls a function with a mechanism. */
    static <T> T call(String function, int mechanism, Object parameter, Supplier<T> calls) {
        try {
            return calls.get();
        } catch (PKCS11Exception e) {
            throw explained(e, function, mechanism, parameter);
        }
    }

    /**
     * A failure that names function and mechanism; for a parameter of the wrong class, one that names the right one.
     */
    private static RuntimeException explained(PKCS11Exception e, String function, int mechanism, Object parameter) {
        String name = PKCS11Constants.nameOf("CKM_", mechanism);
        if (e.getCode() == PKCS11Constants.CKR_MECHANISM_PARAM_INVALID) {
            String right = NativeExtensions.describeParameter(mechanism, parameter);
            if (right != null) {
                return new IllegalArgumentException(name + " takes " + right + ", not "
                    + (parameter == null ? "null" : parameter.getClass().getSimpleName()), e);
            }
        }
        return new PKCS11Exception(e, function + " with " + name);
    }

    /** Refuses null as native methods do, and a key with handle 0, for which they do nothing and raise nothing. */
    static NativePKCS11Object usable(NativePKCS11Object key) {
        if (key == null) {
            throw new PKCS11Exception("obj is null");
        }
        if (key.getObjectID() == 0) {
            throw new PKCS11Exception(PKCS11Constants.CKR_KEY_HANDLE_INVALID);
        }
        return key;
    }
}
