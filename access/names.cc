// Names that the application shares with the platform.
#include "brantix/access.h"

const char* const USER_ADMINBACKUP = "adminbackup";
const char* const USER_PELK_DME = "pelkdme";
const char* const PELK_APPL_TYPE_LOGIN = "login";
const char* const PELK_APPL_TYPE_DEFAULT = "default";
const char* const PELK_APPL_SUB_TYPE_DEFAULT = "default";
const char* const PELK_APPL_SUB_TYPE_CONSOLE = "console";
