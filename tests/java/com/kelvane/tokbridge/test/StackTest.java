package com.kelvane.tokbridge.test;

import static com.kelvane.pkcs11.PKCS11Constants.*;
import static org.junit.jupiter.api.Assertions.*;

import com.kelvane.pkcs11.*;
import java.util.*;
import java.util.function.*;
import org.junit.jupiter.api.*;

/** The bytes of a thread's stack that requests of any size leave to the module. */
class StackTest extends SessionFixture {
    private final List<IntConsumer> requests = List.of(
        size -> session.createObject(new int[] {CKA_VALUE}, new Object[] {new byte[size]}),
        size -> session.generateKeyPair(CKM_AES_CBC, new byte[size / 3], new int[] {CKA_VALUE},
            new Object[] {new byte[size / 3]}, new int[] {CKA_VALUE}, new Object[] {new byte[size / 3]}));

    private static boolean isGranted(IntConsumer request, int size) {
        try {
            request.accept(size);
            return true;
        } catch (PKCS11Exception e) {
            return false;
        }
    }

    /** Runs an action on a thread with a small stack and returns the least bytes that a call of the module found. */
    private long leastStack(Runnable action) throws InterruptedException {
        token.reset();
        Thread small = new Thread(null, action, "small", 512 << 10);
        small.start();
        small.join();
        return token.leastStack();
    }

    @Test
    void theLargestRequestLeaves128KiB() throws Exception {
        for (IntConsumer request : requests) {
            int[] edge = {0, 4 << 20}; // granted, refused; the system may reuse the stack of another thread
            long left = leastStack(() -> {
                while (edge[1] - edge[0] > 256) {
                    int size = (edge[0] + edge[1]) / 2;
                    edge[isGranted(request, size) ? 0 : 1] = size;
                }
            });
            assertTrue(edge[0] > 16 << 10, "" + edge[0]);
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

    @Test
    void aSmallRequestOnADeepStackIsRefused() throws Exception {
        int[] count = new int[2]; // granted, refused
        long left = leastStack(() -> {
            for (int levels = 0; count[1] < 2; levels += 50 + levels / 64) { // the size of a frame is unknown
                descend(levels, () -> count[isGranted(requests.get(0), 20 << 10) ? 0 : 1]++);
            }
        });
        assertTrue(count[0] > 0 && count[1] == 2, Arrays.toString(count));
        assertTrue(left > 120 << 10, left + " bytes left");
    }
}
