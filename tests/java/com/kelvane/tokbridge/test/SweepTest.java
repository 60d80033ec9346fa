package com.kelvane.tokbridge.test;

import static com.kelvane.pkcs11.PKCS11Constants.*;
import static com.kelvane.tokbridge.test.Harness.*;
import static org.junit.jupiter.api.Assertions.*;

import com.kelvane.pkcs11.*;
import com.kelvane.pkcs11.nat.*;
import java.math.*;
import java.util.*;
import java.util.function.*;
import org.junit.jupiter.api.*;

/**
 * Values of many sizes, and how much of a thread's stack they may take. Reservations are rounded up, which hides an
 * encoder that writes more than was sized for it at most sizes: the sanitizers see it at the others.
 */
class SweepTest extends SessionFixture {
    @Test
    void valuesOfEveryLength() {
        for (int length = 0; length <= 64; length++) {
            byte[] value = bytes(1, length);
            String text = "x".repeat(length);
            BigInteger number = BigInteger.ONE.shiftLeft(8 * length).subtract(BigInteger.ONE); // a sign byte before it
            session.findObjectsInit(new int[] {CKA_VALUE, CKA_LABEL, CKA_MODULUS, CKA_PRIME},
                new Object[] {value, text, number, BigInteger.ONE.shiftLeft(length)});
            String line = calls().get(0);
            assertTrue(line.contains(":" + hex(value) + " 0x3@"), line);
            assertTrue(line.contains(":" + hex(text.getBytes()) + " 0x120@"), line);
            assertTrue(line.contains(":" + (length == 0 ? "00" : "ff".repeat(length)) + " 0x130@"), line);
            assertTrue(line.contains(":" + hex(BigInteger.ONE.shiftLeft(length).toByteArray()).replaceFirst("^00", "")
                + "]"), line);

            token.always("C_GetAttributeValue", "0x3=" + hex(text.getBytes()) + " 0x11=" + hex(value));
            assertEquals(text, key(9).getStringAttributeValue(CKA_LABEL));
            assertArrayEquals(value, key(9).getByteArrayAttributeValue(CKA_VALUE));
            calls();
        }
    }

    /** The largest request that a thread's stack grants still leaves the module what it needs, however divided. */
    @Test
    void theStackThatIsLeft() throws Throwable {
        List<Consumer<Integer>> requests = List.of(
            size -> session.createObject(new int[] {CKA_VALUE}, new Object[] {new byte[size]}),
            size -> session.generateKeyPair(CKM_AES_CBC, new byte[size / 3], new int[] {CKA_VALUE},
                new Object[] {new byte[size / 3]}, new int[] {CKA_VALUE}, new Object[] {new byte[size / 3]}));
        for (Consumer<Integer> request : requests) {
            int[] edge = new int[1];
            Thread small = new Thread(null, () -> {
                int granted = 0;
                int refused = 4 << 20; // the system may give it the stack of a thread that has ended, four times larger
                while (refused - granted > 256) {
                    int size = (granted + refused) / 2;
                    try {
                        request.accept(size);
                        granted = size;
                    } catch (PKCS11Exception e) {
                        refused = size;
                    }
                }
                edge[0] = granted;
            }, "small", 512 << 10);
            token.reset();
            small.start();
            small.join();
            assertTrue(edge[0] > 16 << 10, "" + edge[0]);
            long left = token.leastStack();
            assertTrue(left > 120 << 10 && left < 136 << 10, left + " bytes left");
        }
    }

    private static void descend(int levels, Runnable action) {
        if (levels == 0) {
            action.run();
        } else {
            descend(levels - 1, action);
        }
    }

    /** Nor does a request that is small take what a thread has not, however deep it stands. */
    @Test
    void theStackThatIsLeftFarDown() throws Throwable {
        int[] count = new int[2]; // of those granted, then refused
        Thread small = new Thread(null, () -> {
            for (int levels = 0; count[1] < 2; levels += 50 + levels / 64) { // how much each takes, nobody knows
                descend(levels, () -> {
                    try {
                        session.createObject(new int[] {CKA_VALUE}, new Object[] {new byte[20 << 10]});
                        count[0]++;
                    } catch (PKCS11Exception e) {
                        count[1]++;
                    }
                });
            }
        }, "small", 512 << 10);
        token.reset();
        small.start();
        small.join();
        assertTrue(count[0] > 0 && count[1] == 2, Arrays.toString(count));
        assertTrue(token.leastStack() > 120 << 10, token.leastStack() + " bytes left");
    }
}
