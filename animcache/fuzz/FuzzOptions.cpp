// SPDX-License-Identifier: Apache-2.0
//
// Settings of the sanitizers in fuzzers. Short stacks, a small quarantine and little filling double
// the speed; a finding that is replayed gets more through ASAN_OPTIONS.

extern "C" const char* __asan_default_options();
extern "C" const char* __ubsan_default_options();

extern "C" const char* __asan_default_options() {
  return "malloc_context_size=2:quarantine_size_mb=1:thread_local_quarantine_size_kb=64:"
         "max_malloc_fill_size=64:allocator_may_return_null=1";
}

extern "C" const char* __ubsan_default_options() {
  return "print_stacktrace=1";
}
