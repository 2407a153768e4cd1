// Tells whoever looks that a platform library is a stand-in: a function, since each of these libraries has one.

extern "C" [[gnu::visibility("default")]] void brantix_stand_in() {}
