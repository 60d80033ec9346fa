package com.kelvane.tokbridge.test;

import com.kelvane.pkcs11.PKCS11Exception;
import org.junit.jupiter.api.function.Executable;

/** The outcome of a call as text. Apart from Harness, which must work where PKCS11Exception cannot be loaded. */
final class Raised {
    private Raised() {
    }

    /** What a call raises: "0xa0" for a code, the text for a message, "" when it returns. */
    static String raised(Executable call) throws Throwable {
        try {
            call.execute();
            return "";
        } catch (PKCS11Exception e) {
            return e.hasCode() ? "0x" + Integer.toHexString(e.getCode()) : e.getMessage();
        }
    }
}
