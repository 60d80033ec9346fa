package com.kelvane.tokbridge.tool.trials;

import com.kelvane.pkcs11.PKCS11Exception;

/** The end of a trial in which an operation does not work. */
public final class Verdict extends Exception {
    /** The results of trials. What is not offered is listed by the token, and missing when it is called. */
    public static final String WORKS = "works", REFUSED = "refused", WRONG = "wrong", NOT_OFFERED = "not offered",
        NOT_TRIED = "not tried";
    private static final long serialVersionUID = 1L;

    public final String result;

    private Verdict(String result, String reason) {
        super(reason);
        this.result = result;
    }

    /** The refusal of what the token lists. */
    Verdict(PKCS11Exception refusal) {
        super(refusal);
        result = NOT_OFFERED;
    }

    /** Ends a trial as wrong unless a condition holds. */
    static void require(boolean condition, String otherwise) throws Verdict {
        if (!condition) {
            throw new Verdict(WRONG, otherwise);
        }
    }

    /** Ends a trial as not tried unless a condition holds. */
    static void requireToTry(boolean condition, String otherwise) throws Verdict {
        if (!condition) {
            throw new Verdict(NOT_TRIED, otherwise);
        }
    }
}
