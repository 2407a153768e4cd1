// Tells whoever looks that a platform library is a stand-in.

extern "C" [[gnu::visibility("default")]] const char brantix_stand_in[] = "stand-in";
