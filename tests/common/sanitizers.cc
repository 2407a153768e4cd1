// The transport's own threads hand memory over by means that the thread sanitizer does not see.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_suppressions();
const char* __tsan_default_suppressions() { return "called_from_lib:libzmq.so\nrace:libzmq.so\n"; }
