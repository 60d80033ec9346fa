# What the logs of all test runs say together.
/^Test Passed\./ { programs++ }
/^Test Failed\./ { failed++ }
/^\[ +[0-9]+ tests successful +\]$/ { tests += $2 }
/^\[ +[0-9]+ tests (skipped|aborted) +\]$/ { left += $2 }
/^JNI failures: / { failures += $3 }
/^inputs replayed: / { inputs += $3 }
END {
    printf "%d programs passed, %d failed; in them %d tests in Java passed (%d left out), ", programs, failed, tests, left
    printf "%d JNI calls made to fail, %d of the fuzzer's inputs replayed.\n", failures, inputs
}
