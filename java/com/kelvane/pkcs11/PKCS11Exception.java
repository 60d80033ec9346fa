package com.kelvane.pkcs11;

/**
 * A call that failed: either a Cryptoki return code, or a failure of the bridge itself, described by its text. Ask
 * {@link #hasCode} before {@link #getCode}, which is 0 ({@code CKR_OK}) where there is a text only.
 *
 * <p>A code comes from the library called, unchanged; a few are also raised by the bridge ({@code CKR_DATA_INVALID},
 * {@code CKR_BUFFER_TOO_SMALL}, {@code CKR_ATTRIBUTE_TYPE_INVALID}, {@code CKR_ATTRIBUTE_VALUE_INVALID},
 * {@code CKR_TEMPLATE_INCONSISTENT}, {@code CKR_MECHANISM_PARAM_INVALID}, {@code CKR_KEY_HANDLE_INVALID},
 * {@code CKR_FUNCTION_NOT_SUPPORTED}, {@code CKR_HOST_MEMORY}).
 */
public class PKCS11Exception extends RuntimeException {
    /** The serialised form has not changed. */
    private static final long serialVersionUID = 1L;

    /** The Cryptoki return code; 0 without one. */
    private final int code;

    /** Whether there is a code. */
    private final boolean hasCode;

    /** The detail after the code in the message; null for none. */
    private final String detail;

    /**
     * Creates an exception that has a text and no code: {@link #getCode} is {@link PKCS11Constants#CKR_OK} then.
     *
     * @param message the text, as {@link #getMessage} returns it
     */
    public PKCS11Exception(String message) {
        super(message);
        code = PKCS11Constants.CKR_OK;
        hasCode = false;
        detail = null;
    }

    /**
     * Creates an exception for a Cryptoki return code.
     *
     * @param code the code, its 32 bits unsigned
     */
    public PKCS11Exception(int code) {
        this(code, null);
    }

    /**
     * Creates an exception for a Cryptoki return code with a detail.
     *
     * @param code the code, its 32 bits unsigned
     * @param detail the end of the message; null for none
     */
    public PKCS11Exception(int code, String detail) {
        this.code = code;
        hasCode = true;
        this.detail = detail;
    }

    /**
     * Creates the same exception again, with the place where it was thrown, and names the call that failed.
     *
     * @param failure the exception
     * @param call the call, the end of the message; one with a text and no code keeps its text as it is
     */
    @SuppressWarnings("this-escape") // to the method that sets the stack trace
    public PKCS11Exception(PKCS11Exception failure, String call) {
        super(failure.hasCode ? null : failure.getMessage());
        code = failure.code;
        hasCode = failure.hasCode;
        detail = failure.detail == null ? call : failure.detail + " in " + call;
        setStackTrace(failure.getStackTrace());
    }

    /**
     * Returns whether this exception has a Cryptoki return code.
     *
     * @return false if it was built from a text
     */
    public boolean hasCode() {
        return hasCode;
    }

    /**
     * Returns the Cryptoki return code, for example {@link PKCS11Constants#CKR_PIN_INCORRECT}.
     *
     * @return the code, its 32 bits unsigned; {@link PKCS11Constants#CKR_OK} (0), which no failure has, without one
     */
    public int getCode() {
        return code;
    }

    /**
     * Returns the name of the Cryptoki return code, {@code CKR_PIN_INCORRECT} for example.
     *
     * @return the name; {@code CKR_0x80000012} for a code without one; null if there is a text only
     */
    public String getName() {
        // It is looked up here and not in the constructor, which also has to work at the end of a thread's stack.
        return hasCode ? PKCS11Constants.nameOf("CKR_", code) : null;
    }

    /**
     * Returns the text, or the code as text.
     *
     * @return the text passed to the constructor; for a code its name and value, {@code CKR_PIN_INCORRECT (0xa0)}, and
     *     for a code without a name, a vendor's own for example, {@code CKR_0x80000012}; from a method that names its
     *     call, {@code CKR_KEY_SIZE_RANGE (0x62): C_SignInit with CKM_RSA_PKCS}
     */
    @Override
    public String getMessage() {
        String name = getName();
        if (name == null) {
            return super.getMessage();
        }
        String value = "0x" + Integer.toHexString(code);
        String text = name.endsWith(value) ? name : name + " (" + value + ")";
        return detail == null ? text : text + ": " + detail;
    }
}
