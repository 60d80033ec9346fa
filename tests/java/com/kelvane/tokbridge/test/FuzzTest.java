package com.kelvane.tokbridge.test;

import static org.junit.jupiter.api.Assertions.*;

import com.kelvane.tokbridge.fuzz.*;
import java.util.*;
import org.junit.jupiter.api.*;

/** Random calls of all native methods against a module that lies at random, from several threads at once. */
class FuzzTest {
    private static final String[] FUNCTIONS = {"C_GetSlotList", "C_GetMechanismList", "C_GetOperationState",
        "C_GetAttributeValue", "C_FindObjects", "C_Encrypt", "C_DecryptFinal", "C_Sign", "C_WrapKey", "C_CreateObject",
        "C_DeriveKey", "C_GenerateKeyPair", "C_OpenSession", "C_GetTokenInfo", "C_Initialize", "C_Finalize",
        "C_Verify"};
    private static final String[] LIES = {"", "", "", "rv=0x150", "rv=0x30", "rv=0xffffffffffffffff", "rv=0xa",
        "rv=0 out.length=0xffffffffffffffff", "rv=0 slots.length=0xffffffff", "rv=0 mechanisms.length=0x80000000",
        "rv=0 0x3.length=0x80000000", "rv=0 0x3.length=9 0x11.length=70000", "rv=0 0x1.length=0 0x0.length=4",
        "rv=0 objects.length=7", "rv=0 out.length=0x80000000", "rv=0 out.length=keep",
        "object=0x100000001 key=0x900000000", "0x120= 0x110='99999999' 0x3=fffefdc080e282f09f9880 0x11=00",
        "label=ff00c1e2 model=f09f98", "session=0x200000001"};

    private static void lie(ScriptedToken token, Random random) {
        if (random.nextInt(4) == 0) {
            token.always(FUNCTIONS[random.nextInt(FUNCTIONS.length)], LIES[random.nextInt(LIES.length)]);
        }
        if (random.nextInt(300) == 0) {
            token.reset();
        }
    }

    private static Map<String, Integer> run(long seed, int threads, long nanos, int calls) throws Throwable {
        ScriptedToken token = ScriptedToken.copy();
        Map<String, Integer> outcomes = new TreeMap<>();
        List<Harness.Background> running = new ArrayList<>();
        long end = System.nanoTime() + nanos;
        for (int i = 0; i < threads; i++) {
            Fuzzer fuzzer = new Fuzzer(token.path(), random -> lie(token, random), seed + i);
            running.add(Harness.start(() -> {
                for (int made = 0; made < calls && System.nanoTime() < end; made++) {
                    fuzzer.step();
                    if (made % 100 == 0) {
                        token.calls();
                    }
                }
                token.reset();
                fuzzer.close();
                synchronized (outcomes) {
                    fuzzer.outcomes().forEach((outcome, count) -> outcomes.merge(outcome, count, Integer::sum));
                }
            }));
        }
        for (Harness.Background each : running) {
            each.join(nanos / 1_000_000);
            each.finish();
        }
        Harness.forget(token);
        System.out.println("random calls, seed " + seed + ": " + outcomes);
        return outcomes;
    }

    @Test
    void aFewThousandCalls() throws Throwable {
        assertEquals(89, Fuzzer.methods());
        Map<String, Integer> outcomes = run(20261121, 2, 20_000_000_000L, 8_000);
        assertTrue(outcomes.get("result") > 1_000 && outcomes.get("PKCS11Exception") > 1_000, outcomes::toString);
    }

    /** The long mode: so many minutes, a new seed each. */
    public static void main(String[] arguments) throws Throwable {
        for (int minute = 0; minute < Integer.parseInt(arguments[0]); minute++) {
            run(System.nanoTime(), 2, 60_000_000_000L, Integer.MAX_VALUE);
        }
    }
}
