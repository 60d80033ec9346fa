package com.kelvane.tokbridge.tool;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.PKCS11Exception;
import com.kelvane.pkcs11.nat.NativePKCS11Object;
import com.kelvane.tokbridge.tool.Operation.Use;
import java.io.PrintStream;
import java.security.cert.CertificateException;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.EnumSet;
import java.util.HashSet;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.Set;

/**
 * Tries what a token offers: each key that is found, for all that it may be used for; and each mechanism, on a key that
 * is made for it if that is wanted, else on the first that was found.
 */
final class Examination {
    /** What the library refuses whatever the parameter. */
    private static final Set<Integer> WITHOUT_PARAMETER = Set.of(CKM_CONCATENATE_BASE_AND_DATA,
        CKM_CONCATENATE_DATA_AND_BASE, CKM_XOR_BASE_AND_DATA, CKM_KEA_KEY_DERIVE, CKM_KEY_WRAP_SET_OAEP,
        CKM_SKIPJACK_PRIVATE_WRAP, CKM_SKIPJACK_RELAYX, CKM_PKCS5_PBKD2, CKM_ECMQV_DERIVE);

    private final Token token;
    private final Login login;
    private final Output output;
    private Report report;
    private final Keys keys;
    private final Set<Operation> asked = new HashSet<>();
    private final Set<Operation> tried = new HashSet<>();
    private final Map<Integer, String> untried = new LinkedHashMap<>();
    private List<Keys.Found> found = List.of();
    private int logins;

    /** Examines a token; which keys, the user may have said with the token. */
    Examination(Token token, Login login, Output output) {
        this.token = token;
        this.login = login;
        this.output = output;
        keys = new Keys(token, login.token.uri().objects());
    }

    /** Tries everything, and returns the program's exit status. What was made is gone then, after Ctrl-C too. */
    int run() {
        Runtime.getRuntime().addShutdownHook(new Thread(token::end));
        Set<Integer> before = token.objects();
        found = keys.found();
        report = new Report(output, token.offered().stream().mapToInt(each -> nameOf("CKM_", each).length()).max()
            .orElse(0), found.stream().mapToInt(each -> each.name().length()).max().orElse(0));
        if (token.hasRandom()) {
            report.housekeeping("random bytes", this::random);
        }
        int keysTried = 0;
        for (Keys.Found key : found) {
            keysTried += tryKey(key) ? 1 : 0;
        }
        tryCertificates();
        if (token.keepsObjects()) {
            new ObjectTrial(token, report).run();
        }
        for (int mechanism : token.offered()) {
            untried.put(mechanism, WITHOUT_PARAMETER.contains(mechanism) ? "this library has no parameter for them"
                : nameOf("CKM_", mechanism).startsWith("CKM_0x") ? "they are not known here"
                : "this program does not try them");
        }
        tried.forEach(each -> untried.remove(each.mechanism));
        Operations.ALL.stream().filter(each -> token.offers(each.mechanism, each.use.offered))
            .forEach(this::tryMechanism);
        token.destroy(each -> true);
        report.housekeeping("left as it was", () -> {
            Set<Integer> after = token.objects(); // a login ends what handles mean
            Report.require(logins == 0 ? after.equals(before) : after.size() == before.size(),
                "the token has other objects than before");
            return before.size() + " objects, the same as before";
        });
        tellUntried();
        return summary(keysTried);
    }

    private String random() throws Report.Wrong {
        byte[] bytes = new byte[64];
        token.session().generateRandom(bytes, 0, 24);
        token.session().generateRandom(bytes, 32, 24);
        byte[] zeros = new byte[8];
        Report.require(!Arrays.equals(bytes, 0, 24, bytes, 32, 56), "the same bytes came twice");
        Report.require(Arrays.equals(bytes, 24, 32, zeros, 0, 8) && Arrays.equals(bytes, 56, 64, zeros, 0, 8),
            "it fills more than it was asked for");
        return "they differ from call to call";
    }

    /** Tries a key that was found, with the first mechanism for each of its uses. */
    private boolean tryKey(Keys.Found key) {
        boolean any = false;
        boolean attempted = false;
        String why = "the token offers no mechanism for what it may be used for";
        Set<Use> done = EnumSet.noneOf(Use.class);
        for (Operation operation : Operations.ALL) {
            if (key.fits(operation) && !done.contains(operation.use)
                && token.offers(operation.mechanism, operation.use.offered)) {
                if (operation.use.makesObjects() && !token.isToWrite()) {
                    why = "what it may be used for makes objects: that is tried with --write";
                } else {
                    attempted = true;
                    String result = tryFound(operation, key);
                    if (!result.equals(Report.NOT_OFFERED)) { // otherwise the next mechanism may be there
                        done.add(operation.use);
                    }
                    any |= !List.of(Report.NOT_OFFERED, Report.NOT_TRIED).contains(result);
                }
            }
        }
        if (!attempted) {
            String reason = why;
            report.operation("key", null, key.name(), () -> {
                throw new Report.NotTried(reason);
            });
        }
        return any;
    }

    private String tryFound(Operation operation, Keys.Found key) {
        return attempt(operation, key.name(), () -> key.since(logins));
    }

    private void tryMechanism(Operation operation) {
        Use use = operation.use;
        if (!token.isToWrite() && (asked.contains(operation) || use.makesObjects())) {
            untried.replace(operation.mechanism, "they make objects: that is tried with --write");
            return;
        }
        if (use == Use.PAIR) {
            attempt(operation, null, () -> keys.pairOrSecret(operation.kind, null));
        } else if (operation.kind == null || use == Use.KEY) {
            attempt(operation, null, () -> null);
        } else {
            String why = "there is no key for them" + (token.isToWrite() ? "" : "; one is made with --write");
            try {
                if (token.isToWrite()) {
                    keys.made(operation.kind, use);
                    attempt(operation, operation.kind.name, () -> keys.made(operation.kind, use));
                    return;
                }
            } catch (Report.NotTried e) {
                why = e.getMessage();
            }
            Keys.Found first = found.stream().filter(each -> each.fits(operation)).findFirst().orElse(null);
            if (first == null) {
                untried.replace(operation.mechanism, why);
            } else if (!asked.contains(operation)) {
                tryFound(operation, first);
            }
        }
    }

    /** Gets a key for an operation, when its turn has come. */
    private interface KeyFor {
        Key get() throws Exception;
    }

    private String attempt(Operation operation, String keyName, KeyFor keyFor) {
        asked.add(operation);
        untried.remove(operation.mechanism);
        String result = report.operation(operation.use.title, operation.name(), keyName, () -> {
            try {
                return attempt(operation, keyFor);
            } catch (PKCS11Exception e) {
                if (e.getCode() != CKR_USER_NOT_LOGGED_IN) {
                    throw e;
                }
                if (!login.isWanted()) {
                    throw new Report.NotTried("it wants a login: that is tried with --login");
                }
                // Some keys want a login for each use, and some modules forget one after a failure.
                keys.forget();
                token.destroy(each -> true);
                login.again(token.session());
                logins++;
                return attempt(operation, keyFor);
            }
        });
        if (!result.equals(Report.NOT_TRIED)) {
            tried.add(operation);
        }
        return result;
    }

    private String attempt(Operation operation, KeyFor keyFor) throws Exception {
        Key key = keyFor.get();
        return token.inSession(session -> Trial.of(operation, key, token, session));
    }

    /** Has the JDK read the certificates that are on the token. */
    private void tryCertificates() {
        List<NativePKCS11Object> certificates = new ArrayList<>();
        for (NativePKCS11Object each : keys.search(CKO_CERTIFICATE)) {
            if (Integer.valueOf(CKC_X_509).equals(each.readAttributes(CKA_CERTIFICATE_TYPE)
                .getInteger(CKA_CERTIFICATE_TYPE))) {
                certificates.add(each);
            }
        }
        if (!certificates.isEmpty()) {
            report.operation("certificates", null, null, () -> {
                List<String> unread = new ArrayList<>();
                for (NativePKCS11Object each : certificates) {
                    try {
                        each.toCertificate();
                    } catch (CertificateException | PKCS11Exception e) {
                        unread.add(e.getMessage());
                    }
                }
                Report.require(unread.isEmpty(), "the JDK does not read " + unread.size() + " of "
                    + certificates.size() + ": " + unread.stream().findFirst().orElse(""));
                return "the JDK reads " + certificates.size();
            });
        }
    }

    /** Names the mechanisms that were not tried, by the reason. */
    private void tellUntried() {
        Map<String, List<String>> reasons = new LinkedHashMap<>();
        untried.forEach((mechanism, why) -> {
            String name = nameOf("CKM_", mechanism);
            reasons.computeIfAbsent(why, each -> new ArrayList<>()).add(name);
            Map<String, Object> told = new LinkedHashMap<>();
            told.put("result", Report.NOT_TRIED);
            told.put("mechanism", name);
            told.put("detail", why);
            output.result(told);
        });
        reasons.forEach((why, names) -> {
            output.text().println();
            new Table("Not tried, " + why + ": " + names.size()).row(names).print(output.text());
        });
    }

    private int summary(int keysTried) {
        int works = report.count(Report.WORKS);
        int failed = report.failed();
        int mechanisms = (int) tried.stream().mapToInt(each -> each.mechanism).distinct().count();
        boolean negative = failed > 0 || !found.isEmpty() && keysTried == 0 || works == 0;
        Map<String, Object> told = new LinkedHashMap<>();
        told.put("work", works);
        told.put("doNotWork", failed);
        told.put("mechanisms", token.offered().size());
        told.put("mechanismsTried", mechanisms);
        told.put("keys", found.size());
        told.put("keysTried", keysTried);
        told.put("status", negative ? Main.NEGATIVE : Main.DONE);
        output.result(told);
        PrintStream out = output.text();
        out.println();
        Table.line(out, works + (works == 1 ? " operation works, " : " operations work, ") + failed
            + (failed == 1 ? " does not." : " do not."));
        Table.line(out, mechanisms + " of " + token.offered().size() + " mechanisms were tried"
            + (found.isEmpty() ? "." : ", and " + keysTried + " of " + found.size() + " keys."));
        if (works + failed == 0) {
            Table.line(out, "Nothing could be tried.");
        }
        if (!login.isWanted()) {
            Table.line(out, "Private keys are tried with --login.");
        }
        if (!token.isToWrite()) {
            Table.line(out, "More is tried with --write.");
        }
        return negative ? Main.NEGATIVE : Main.DONE;
    }
}
