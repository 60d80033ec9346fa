package com.kelvane.tokbridge.tool;

import com.kelvane.pkcs11.PKCS11Exception;
import com.kelvane.pkcs11.nat.NativePKCS11;
import java.util.LinkedHashMap;
import java.util.Map;
import java.util.stream.Stream;

/** Why the program ends: what failed, why, and what to try. */
final class Failure extends RuntimeException {
    private static final long serialVersionUID = 1L;

    final int status;
    final String reason;
    final String remedy;

    Failure(int status, String what, String reason, String remedy) {
        super(what);
        this.status = status;
        this.reason = reason;
        this.remedy = remedy;
    }

    /** A call that can fail as the library's do. */
    interface Call<T> {
        T run();
    }

    /** Makes a call, and says what failed if it does. */
    static <T> T in(String what, Call<T> call) {
        try {
            return call.run();
        } catch (PKCS11Exception e) {
            throw of(what, e);
        }
    }

    static Failure of(Throwable e) {
        if (e instanceof Failure) {
            return (Failure) e;
        }
        if (e instanceof PKCS11Exception) {
            return of(call(e) + " failed", (PKCS11Exception) e);
        }
        if (e instanceof UnsatisfiedLinkError) {
            return new Failure(Main.FAILED, "tokbridge's own library is not there", e.getMessage(),
                ErrorTexts.find("cannot load the native library: ").remedy);
        }
        return new Failure(Main.FAILED, "the program failed", e.toString() + " at " + e.getStackTrace()[0],
            "this is a fault of the tool: report it with this line");
    }

    private static Failure of(String what, PKCS11Exception e) {
        ErrorTexts.Entry known = ErrorTexts.find(e.getMessage());
        String reason = e.getMessage() + ": " + (e.getCause() != null ? e.getCause().getMessage() : known.cause);
        return new Failure(Main.FAILED, what, reason, known.remedy);
    }

    /** The method of the library that the tool called. */
    static String call(Throwable e) {
        String library = NativePKCS11.class.getPackageName();
        return Stream.of(e.getStackTrace()).filter(frame -> frame.getClassName().startsWith(library))
            .reduce((inner, outer) -> outer).map(StackTraceElement::getMethodName).orElse("a call");
    }

    /** Tells it: people on standard error, machines as JSON where they read the results. */
    void print(boolean json) {
        if (json) {
            Map<String, Object> told = new LinkedHashMap<>();
            told.put("error", getMessage());
            told.put("why", reason);
            told.put("try", remedy);
            told.put("status", status);
            System.out.println(Output.json(told));
            return;
        }
        System.err.println("tokbridge: " + Table.oneLine(getMessage()));
        if (reason != null) {
            System.err.println("  Why: " + Table.oneLine(reason));
        }
        System.err.println("  Try: " + Table.oneLine(remedy));
    }
}
