package com.kelvane.tokbridge.test;

import java.util.*;
import java.util.concurrent.*;
import org.junit.platform.engine.TestExecutionResult;
import org.junit.platform.launcher.*;

/**
 * A test that hangs has a name within seconds: it is printed with what every thread does. One that does not end at all,
 * which nothing but the end of the virtual machine can end, ends the suite.
 */
public final class Watchdog implements TestExecutionListener {
    private static final long NAMED_AFTER = 20; // seconds; a busy machine may take as long for a test in order
    private static final long ENDED_AFTER = 240;
    private final ScheduledExecutorService clock = Executors.newSingleThreadScheduledExecutor(task -> {
        Thread thread = new Thread(task, "watchdog");
        thread.setDaemon(true);
        return thread;
    });
    private final Map<String, List<Future<?>>> running = new ConcurrentHashMap<>();

    @Override
    public void executionStarted(TestIdentifier test) {
        if (test.isTest()) {
            running.put(test.getUniqueId(), List.of(
                clock.schedule(() -> tell(test), NAMED_AFTER, TimeUnit.SECONDS),
                clock.schedule(() -> Runtime.getRuntime().halt(1), ENDED_AFTER, TimeUnit.SECONDS)));
        }
    }

    @Override
    public void executionFinished(TestIdentifier test, TestExecutionResult result) {
        running.getOrDefault(test.getUniqueId(), List.of()).forEach(each -> each.cancel(false));
        running.remove(test.getUniqueId());
    }

    private static void tell(TestIdentifier test) {
        StringBuilder told = new StringBuilder("Still running: " + test.getUniqueId() + "\n");
        Thread.getAllStackTraces().forEach((thread, stack) -> {
            told.append("  ").append(thread).append('\n');
            Arrays.stream(stack).limit(12).forEach(frame -> told.append("    ").append(frame).append('\n'));
        });
        System.err.print(told);
    }
}
