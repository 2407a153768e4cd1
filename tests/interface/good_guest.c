/*
 * The library is a good guest in its host's process: loading it only maps libraries, using it leaves threads, signals,
 * locale, environment and descriptors as they were, and closing it takes no code away from under a thread.
 * usage: good_guest LIBRARY, in the simulated appliance
 */
#include <dirent.h>
#include <dlfcn.h>
#include <locale.h>
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "brantix/coupler.h"

extern char** environ;
static int failures = 0;

static void expect(int holds, const char* what) {
  if (!holds) fprintf(stderr, "good_guest: not so: %s\n", what);
  failures += !holds;
}

/* What a constructor could reach for: the libraries' calls come here first, the loader's own do not. */
static int loading = 0;

#define GUARDED(result, name, parameters, arguments)          \
  result name parameters {                                    \
    void* const symbol = dlsym(RTLD_NEXT, #name);             \
    result(*next) parameters;                                 \
    memcpy(&next, &symbol, sizeof next);                      \
    expect(!loading, #name " is not called by constructors"); \
    return next arguments;                                    \
  }
int open(const char* path, int flags, ...);
int openat(int directory, const char* path, int flags, ...);
int socket(int domain, int type, int protocol);
GUARDED(int, open, (const char* path, int flags, ...), (path, flags, 0600))
GUARDED(int, openat, (int directory, const char* path, int flags, ...), (directory, path, flags, 0600))
GUARDED(int, socket, (int domain, int type, int protocol), (domain, type, protocol))
GUARDED(FILE*, fopen, (const char* path, const char* mode), (path, mode))
GUARDED(FILE*, popen, (const char* command, const char* mode), (command, mode))
GUARDED(int, system, (const char* command), (command))
#undef GUARDED

static int entries_of(const char* directory) {
  int count = 0;
  DIR* const stream = opendir(directory);
  while (stream != NULL && readdir(stream) != NULL) ++count;
  if (stream != NULL) closedir(stream);
  return count;
}

static void add_signals(FILE* state) {
  sigset_t blocked;
  sigprocmask(SIG_BLOCK, NULL, &blocked);
  const unsigned own_flag_of_libc = 0x04000000; /* tells the kernel how a handler returns */
  for (int signal = 1; signal < SIGRTMIN; ++signal) {
    struct sigaction action = {0};
    sigaction(signal, NULL, &action);
    fprintf(state, "signal %d: handler %d, flags %x, blocked %d\n", signal, action.sa_handler != SIG_DFL,
            (unsigned)action.sa_flags & ~own_flag_of_libc, sigismember(&blocked, signal));
  }
}

/* The state of the process that belongs to the host, as a text. */
static char* process_state(void) {
  char* text = NULL;
  size_t size;
  char directory[4096];
  FILE* const state = open_memstream(&text, &size);
  const mode_t mask = umask(0);
  umask(mask);
  fprintf(state, "threads %d\ndescriptors %d\n", entries_of("/proc/self/task"), entries_of("/proc/self/fd"));
  fprintf(state, "locale %s\numask %o\n", setlocale(LC_ALL, NULL), (unsigned)mask);
  fprintf(state, "directory %s\n", getcwd(directory, sizeof directory));
  for (char** variable = environ; *variable != NULL; ++variable) fprintf(state, "environment %s\n", *variable);
  add_signals(state);
  fclose(state);
  return text;
}

static void expect_unchanged(const char* before, const char* when) {
  char* const now = process_state();
  size_t at = 0;
  while (before[at] != '\0' && before[at] == now[at]) ++at;
  expect(before[at] == now[at], when);
  if (before[at] != now[at]) {
    while (at > 0 && before[at - 1] != '\n') --at;
    fprintf(stderr, "--- before\n%s--- now\n%s", before + at, now + at);
  }
  free(now);
}

/* How many mappings are of a file whose path holds `text`. */
static int mappings_of(const char* text) {
  char line[4096];
  int count = 0;
  FILE* const maps = fopen("/proc/self/maps", "r");
  while (fgets(line, sizeof line, maps) != NULL) {
    const char* const path = strchr(line, '/');
    count += path != NULL && strstr(path, text) != NULL;
  }
  fclose(maps);
  return count;
}

static int mappings_of_no_library(void) { return mappings_of("/") - mappings_of(".so"); }

static void take_line(const char* operation, int32_t* limit, int32_t level, const char* format, ...) {
  (void)operation, (void)limit, (void)level, (void)format;
}

static void* library = NULL;

static void look_up(const char* name, void* function, size_t size) {
  void* const symbol = dlsym(library, name);
  expect(symbol != NULL, name);
  memcpy(function, &symbol, size);
}
#define DECLARE(name)            \
  __typeof__(&name) call_##name; \
  look_up(#name, &call_##name, sizeof call_##name)

static void use(void) {
  static int32_t threshold = 1;
  const SCI_lib_init_s init = {take_line, 1, 2, 3, &threshold};
  char text[64];
  FirmwareInfo firmware;
  DECLARE(SCI_Initialize_lib);
  DECLARE(SC_Initialize_commands);
  DECLARE(SCI_imageOpen);
  DECLARE(SCI_getUserRoles);
  DECLARE(SCI_readCurrentFirmwareVersions);
  DECLARE(SCI_cli_get_sessions);
  DECLARE(SCI_cli_free_session_iterator);
  expect(call_SCI_Initialize_lib(NULL, NULL, NULL, &init) == 1000, "the library is initialised");
  expect(call_SC_Initialize_commands() == 0, "the commands are there");
  expect(call_SCI_imageOpen("/missing") == NULL, "no image is opened");
  call_SCI_getUserRoles("root", text, sizeof text);
  expect(call_SCI_readCurrentFirmwareVersions(&firmware) == 0, "the firmware is reported");
  call_SCI_cli_free_session_iterator(call_SCI_cli_get_sessions());
}

static void notify(void) {
  const uint64_t oid[] = {1, 3, 6, 1};
  const SCI_snmp_varbind_s none = {0};
  DECLARE(SCI_sendSnmpNotification);
  expect(call_SCI_sendSnmpNotification(oid, 4, &none, 0, NULL, 0) == 0, "a notification is sent");
}

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  setenv("MESVO_TIMEOUT_MS", "1", 1);
  char* const before = process_state();
  const int mapped_before = mappings_of_no_library();

  loading = 1;
  library = dlopen(argv[1], RTLD_NOW);
  loading = 0;
  if (library == NULL) {
    fprintf(stderr, "good_guest: %s\n", dlerror());
    return 2;
  }
  expect_unchanged(before, "loading leaves the process as it was");
  expect(mappings_of_no_library() == mapped_before, "loading maps libraries only");
  use();
  expect_unchanged(before, "operations leave the process as it was");
  dlclose(library);
  expect_unchanged(before, "closing leaves the process as it was");
  expect(mappings_of("libbrantix_coupler") == 0, "closing unloads the library");

  library = dlopen(argv[1], RTLD_NOW);
  notify();
  dlclose(library);
  expect(mappings_of("libbrantix_coupler") > 0, "a library whose channel has threads stays");
  free(before);
  return failures != 0;
}
