package com.kelvane.tokbridge.bench;

import com.kelvane.tokbridge.bench.Stopwatch.Batch;
import com.kelvane.tokbridge.bench.Stopwatch.Operation;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.Callable;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;

/** Operations on threads of their own at once, the whole batch in each. */
final class Together {
    private static final ExecutorService THREADS = Executors.newCachedThreadPool();

    private Together() {
    }

    /** One run is a run of each operation, each in a thread of its own. */
    static Batch of(Operation... operations) {
        return times -> {
            List<Callable<Object>> batches = new ArrayList<>();
            for (Operation each : operations) {
                batches.add(() -> each.run(times));
            }
            Object last = null;
            for (Future<Object> each : THREADS.invokeAll(batches)) {
                last = each.get();
            }
            return last;
        };
    }
}
