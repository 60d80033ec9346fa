package com.kelvane.tokbridge.test;

import java.nio.file.Path;
import java.util.concurrent.atomic.AtomicInteger;

/** Names of files that no other test uses. */
final class Scratch {
    static final Path DIRECTORY = Path.of(System.getProperty("tokbridge.test.scratch"));

    private static final AtomicInteger COUNT = new AtomicInteger();

    private Scratch() {
    }

    static Path file(String name, String suffix) {
        return DIRECTORY.resolve(name + "-" + ProcessHandle.current().pid() + "-" + COUNT.incrementAndGet() + suffix);
    }
}
