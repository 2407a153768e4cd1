/*
 * A management application in small: loads the library, initialises it, asks for a command template and an image's
 * name. usage: host LIBRARY IMAGE
 */
#include <dlfcn.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>

#include "brantix/coupler.h"

static int32_t threshold = 1;

static void log_line(const char* operation, int32_t* limit, int32_t level, const char* format, ...) {
  va_list arguments;
  (void)limit;
  va_start(arguments, format);
  printf("%d %s: ", level, operation);
  vprintf(format, arguments);
  printf("\n");
  va_end(arguments);
}

/* ISO C has no conversion from an object pointer to a function pointer; POSIX gives it this way. */
static int look_up(void* library, const char* name, void* function, size_t size) {
  void* symbol = dlsym(library, name);
  memcpy(function, &symbol, size);
  return symbol != NULL;
}

int main(int argc, char** argv) {
  int32_t (*initialize)(const void*, const void*, const void*, const SCI_lib_init_s*);
  int32_t (*initialize_commands)(void);
  const char* (*get_command)(unsigned int);
  SCI_image_s* (*image_open)(const char*);
  const char* (*image_name)(const SCI_image_s*);
  void (*image_close)(SCI_image_s*);
  const SCI_lib_init_s init = {log_line, 1, 2, 3, &threshold};
  SCI_image_s* image;
  void* library = argc == 3 ? dlopen(argv[1], RTLD_NOW) : NULL;

  if (library == NULL) {
    fprintf(stderr, "%s\n", argc == 3 ? dlerror() : "usage: host LIBRARY IMAGE");
    return 2;
  }
  if (!look_up(library, "SCI_Initialize_lib", &initialize, sizeof(initialize)) ||
      !look_up(library, "SC_Initialize_commands", &initialize_commands, sizeof(initialize_commands)) ||
      !look_up(library, "SC_Get_command", &get_command, sizeof(get_command)) ||
      !look_up(library, "SCI_imageOpen", &image_open, sizeof(image_open)) ||
      !look_up(library, "SCI_imageName", &image_name, sizeof(image_name)) ||
      !look_up(library, "SCI_imageClose", &image_close, sizeof(image_close))) {
    fprintf(stderr, "%s\n", dlerror());
    return 1;
  }
  if (initialize(NULL, NULL, NULL, &init) != 1000 || initialize_commands() != 0) return 1;
  printf("command 316 is '%s'\n", get_command(316));
  image = image_open(argv[2]);
  if (image == NULL) return 1;
  printf("the image is '%s'\n", image_name(image));
  image_close(image);
  return 0;
}
