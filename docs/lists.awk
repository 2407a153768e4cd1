# Shows a header to Doxygen with its .def lists written out: a macro's expansion has no comment.

# The rows of a list stand between a macro's #define and #undef.
/^#include "brantix\/container_types.def"/ { write_types(previous ~ /constant = number/); next }
/^#include "brantix\/noop.def"/ { write_noops(); next }
/^#define (OBJECT|NOOP|BRANTIX_NOOP_|BRANTIX_ANY)/ || /^#undef/ { previous = $0; next }
{ previous = $0; print }

# OBJECT(number, constant, guid, "name",\n  16 bytes)
function write_types(constants,    line, field, bytes) {
  while ((getline line < "include/brantix/container_types.def") > 0) {
    if (line ~ /^OBJECT/) {
      split(line, field, /[(,"] */)
    } else if (line ~ /0x/) {
      bytes = line
      gsub(/^ +|0x|,|\)/, "", bytes)
      if (constants)
        printf "%s = %d, /**< \"%s\" */\n", field[3], field[2], field[6]
      else
        printf "extern const uint8_t %s[16]; /**< %s */\n", field[4], bytes
    }
  }
  close("include/brantix/container_types.def")
}

# /* Family */ and NOOP(operation, result)
function write_noops(    line, field, family) {
  while ((getline line < "include/brantix/noop.def") > 0) {
    if (line ~ /^\/\* .* \*\/$/) {
      family = substr(line, 4, length(line) - 6)
    } else if (line ~ /^NOOP/) {
      split(line, field, /[(,) ]+/)
      if (field[3] == "OWN") continue
      if (family != "") printf "%s/** @name %s */\n/** @{ */\n", open ? "/** @} */\n" : "", family
      open = 1
      family = ""
      if (field[3] == "ZERO") printf "/** Does nothing. @return 0 */\nlong %s(...);\n", field[2]
      if (field[3] == "NOTHING") printf "/** Does nothing. */\nvoid %s(...);\n", field[2]
    }
  }
  print "/** @} */"
  close("include/brantix/noop.def")
}
