// A host in C that loads the library, which is a good guest in its process: loading it only maps libraries, using it
// leaves threads, signals, locale, environment and descriptors as they were, and closing it takes no code away from
// under a thread. usage: host LIBRARY, in the simulated appliance
#include <dlfcn.h>
#include <locale.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "brantix/coupler.h"

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

// Writes the state of the process that belongs to the host to a file, as a text; how many signals are queued is not the
// host's. The shell begins when popen is through with this process.
static void tell_state(void) {
  FILE* const shell = popen(
      "{ cat; cd /proc/$PPID; grep -E '^(Threads|Umask|Sig[^Q])' status; ls fd; readlink cwd; env;"
      "sed -n 's,^.* /,/,p' maps | grep -v '\\.so' | sort -u; } >/tmp/now",
      "w");
  fprintf(shell, "locale %s\n", setlocale(LC_ALL, NULL));
  pclose(shell);
}

static void expect_unchanged(const char* when) {
  tell_state();
  expect(system("diff /tmp/before /tmp/now") == 0, when);
}

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

// @return whether the library stays all the same
static int close_library(const char* path) {
  dlclose(library);
  return dlopen(path, RTLD_NOW | RTLD_NOLOAD) != NULL;
}

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  setenv("MESVO_TIMEOUT_MS", "1", 1);
  tell_state();
  expect(rename("/tmp/now", "/tmp/before") == 0, "the state can be told");

  load(argv[1]);
  expect_unchanged("loading only maps libraries and leaves the process as it was");
  use();
  expect_unchanged("operations leave the process as it was");
  expect(!close_library(argv[1]), "closing unloads the library");
  expect_unchanged("closing leaves the process as it was");

  load(argv[1]);
  notify();
  expect(close_library(argv[1]), "a library whose channel has threads stays");
  return failures != 0;
}
