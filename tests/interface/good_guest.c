// A host in C that loads the library, which is a good guest in its process: loading it only maps libraries, using it
// leaves threads, signals, locale, environment and descriptors as they were, and closing it takes no code away from
// under a thread. usage: host LIBRARY, in the simulated appliance
#include <dirent.h>
#include <dlfcn.h>
#include <locale.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "brantix/coupler.h"

extern char** environ;
static int failures = 0;

static void expect(int holds, const char* what) {
  if (!holds) fprintf(stderr, "good_guest: not so: %s\n", what);
  failures += !holds;
}

// What a constructor could reach for: being exported, these take the libraries' calls; the loader's own do not come
// here.
static int loading = 0;

// ISO C has no conversion from an object pointer to a function pointer; POSIX asks for one.
#define SYMBOL(handle, name) (__extension__(__typeof__(&name)) dlsym(handle, #name))
#define GUARDED(result, name, parameters, arguments)              \
  __attribute__((visibility("default"))) result name parameters { \
    expect(!loading, #name " is not called by constructors");     \
    return SYMBOL(RTLD_NEXT, name) arguments;                     \
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

static int entries_of(const char* directory) {
  int count = 0;
  DIR* const stream = opendir(directory);
  while (readdir(stream) != NULL) ++count;
  closedir(stream);
  return count;
}

// The state of the process that belongs to the host, as a text.
static char* process_state(void) {
  char *text = NULL, line[4096];
  size_t size;
  FILE* const state = open_memstream(&text, &size);
  FILE* const status = fopen("/proc/self/status", "r");
  while (fgets(line, sizeof line, status) != NULL) {
    const int is_signals = strncmp(line, "Sig", 3) == 0 && line[3] != 'Q';  // how many are queued is not the host's
    if (is_signals || strncmp(line, "Threads", 7) == 0 || strncmp(line, "Umask", 5) == 0) fputs(line, state);
  }
  fclose(status);
  fprintf(state, "descriptors %d, locale %s\n", entries_of("/proc/self/fd"), setlocale(LC_ALL, NULL));
  fprintf(state, "directory %s\n", getcwd(line, sizeof line));
  for (char** variable = environ; *variable != NULL; ++variable) fprintf(state, "environment %s\n", *variable);
  fclose(state);
  return text;
}

static void expect_unchanged(const char* before, const char* when) {
  char* const now = process_state();
  expect(strcmp(before, now) == 0, when);
  if (strcmp(before, now) != 0) fprintf(stderr, "--- before\n%s--- now\n%s", before, now);
  free(now);
}

// How many mappings are of a file whose path holds `text`.
static int mappings_of(const char* text) {
  char line[4096];
  int count = 0;
  FILE* const maps = fopen("/proc/self/maps", "r");
  while (fgets(line, sizeof line, maps) != NULL) count += strchr(line, '/') && strstr(strchr(line, '/'), text);
  fclose(maps);
  return count;
}

static int mappings_of_no_library(void) { return mappings_of("/") - mappings_of(".so"); }

static void take_line(const char* operation, int32_t* limit, int32_t level, const char* format, ...) {
  (void)operation, (void)limit, (void)level, (void)format;
}

static void* library = NULL;
#define CALL(name) SYMBOL(library, name)

static void use(void) {
  static int32_t threshold = 1;
  const SCI_lib_init_s init = {take_line, 1, 2, 3, &threshold};
  char text[64];
  FirmwareInfo firmware;
  expect(CALL(SCI_Initialize_lib)(NULL, NULL, NULL, &init) == 1000, "the library is initialised");
  expect(CALL(SC_Initialize_commands)() == 0, "the commands are there");
  expect(strcmp(CALL(SC_Get_command)(316), "no switchport access vlan ") == 0, "a command is the one of its number");
  expect(CALL(SCI_imageOpen)("/missing") == NULL, "no image is opened");
  CALL(SCI_getUserRoles)("root", text, sizeof text);
  expect(CALL(SCI_readCurrentFirmwareVersions)(&firmware) == 0, "the firmware is reported");
  CALL(SCI_cli_free_session_iterator)(CALL(SCI_cli_get_sessions)());
}

static void notify(void) {
  const uint64_t oid[] = {1, 3, 6, 1};
  const SCI_snmp_varbind_s none = {0};
  expect(CALL(SCI_sendSnmpNotification)(oid, 4, &none, 0, NULL, 0) == 0, "a notification is sent");
}

static void load(const char* path) {
  loading = 1;
  library = dlopen(path, RTLD_NOW);
  loading = 0;
  if (library != NULL) return;
  fprintf(stderr, "good_guest: %s\n", dlerror());
  exit(2);
}

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  setenv("MESVO_TIMEOUT_MS", "1", 1);
  char* const before = process_state();
  const int mapped_before = mappings_of_no_library();

  load(argv[1]);
  expect_unchanged(before, "loading leaves the process as it was");
  expect(mappings_of_no_library() == mapped_before, "loading maps libraries only");
  use();
  expect_unchanged(before, "operations leave the process as it was");
  dlclose(library);
  expect_unchanged(before, "closing leaves the process as it was");
  expect(mappings_of("libbrantix_coupler") == 0, "closing unloads the library");

  load(argv[1]);
  notify();
  dlclose(library);
  expect(mappings_of("libbrantix_coupler") > 0, "a library whose channel has threads stays");
  free(before);
  return failures != 0;
}
