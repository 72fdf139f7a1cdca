// In every program that is built with the address sanitizer.

// The runtime of clang 14 guesses where glibc keeps the thread-local variables of libraries that
// were loaded at run time, as TLS's are, and guesses wrong: the leak check at the end then reads
// where no memory is, whenever a thread that used them still lives.
extern "C" const char* __asan_default_options();
extern "C" const char* __asan_default_options() { return "intercept_tls_get_addr=0"; }
