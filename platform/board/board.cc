#include "platform/board/board.h"

#include "platform/settings.h"

int get_platform_board_type() try {
  constexpr int kTypeWithSsd = 2;
  return platform::setting("board_type", kTypeWithSsd);
} catch (...) {
  return 0;
}
