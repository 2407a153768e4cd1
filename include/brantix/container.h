// The image container format, in memory and in files.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#include "brantix/export.h"
#include "brantix/firmware.h"
#include "brantix/image.h"

/**
 * @file
 * The image container format: a 16-byte file GUID, then objects. An object is a 16-byte type GUID, a 16-byte
 * descriptor, a header and a payload; the payload of a wrapping object holds further objects. Pointers must not be null
 * where a comment does not allow it.
 */

BRANTIX_BEGIN_C

/** Object types: the index of an object's GUID in `orvix_guid`. */
enum {
#define OBJECT(number, constant, guid, name, ...) constant = number,
#include "brantix/container_types.def"
#undef OBJECT
  ORVIX_TYPE_COUNT = 24,     /**< types in the table */
  ORVIX_TYPE_UNKNOWN = 99999 /**< a GUID that stands nowhere in the table */
};

/** Descriptor of an object. Numbers are little-endian. */
typedef struct orvix_desc {
  uint8_t headerUnits[2];  /**< header length in units of 16 bytes */
  uint8_t reserved2;       /**< not interpreted */
  uint8_t payloadUnits[5]; /**< payload length in units of 16 bytes */
  uint8_t flags;           /**< bit 1: the payload ends in PKCS#7 padding to a multiple of 16 bytes */
  uint8_t reserved9[7];    /**< not interpreted */
} orvix_desc;

/** Head of an object; its header and payload follow in the container. */
typedef struct orvix_object {
  uint8_t guid[16]; /**< type GUID */
  orvix_desc desc;  /**< lengths of what follows */
} orvix_object;

/** Cursor over a container in memory: start <= cur <= end while it is usable. Addresses; owned by the caller. */
typedef struct orvix_range {
  uint64_t start; /**< address of the first byte */
  uint64_t end;   /**< address one past the last byte */
  uint64_t cur;   /**< address of the next byte to take */
} orvix_range;

BRANTIX_EXPORT extern const uint8_t orvix_file_guid[16]; /**< with which every container begins */
#define OBJECT(number, constant, guid, name, ...) BRANTIX_EXPORT extern const uint8_t guid[16];
#include "brantix/container_types.def"
#undef OBJECT

/** The GUIDs by type number. */
BRANTIX_EXPORT extern const uint8_t* const orvix_guid[ORVIX_TYPE_COUNT];

/** Compares the 16 bytes at `guid` with the file GUID. @return 1 when they are equal, else 0 */
BRANTIX_EXPORT int orvix_is_file_guid(const void* guid);

/** Looks up the 16-byte GUID at `object`. @return its type number, or ORVIX_TYPE_UNKNOWN */
BRANTIX_EXPORT int orvix_get_object_type(const void* object);

/**
 * Reads 16 bytes at the stream's position and leaves the stream behind them.
 *
 * @return 1 when they are the file GUID; 0 when they are not, or fewer than 16 came back
 */
BRANTIX_EXPORT int orvix_is_file_format(FILE* stream);

/** Makes `r` span `length` bytes from address `start`, the cursor at `start`. */
BRANTIX_EXPORT void set_range(orvix_range* r, uint64_t start, uint64_t length);

/** Tells whether the cursor is usable. @return 1 when start <= cur <= end (a cursor at the end is in range), else 0 */
BRANTIX_EXPORT int is_in_range(const orvix_range* r);

/** Adds `n` to the cursor, in range or not. @return `is_in_range` afterwards */
BRANTIX_EXPORT int range_advance(orvix_range* r, uint64_t n);

/**
 * Takes `n` bytes.
 *
 * @return their address; 0 when they run past the end. The cursor then stands past the end, so that every later take
 *         fails too.
 */
BRANTIX_EXPORT uint64_t range_get(orvix_range* r, uint64_t n);

/** Finds the descriptor of `object`. @return its address, 16 bytes into the object */
BRANTIX_EXPORT orvix_desc* orvix_object_get_descriptor(orvix_object* object);

/** Names the object's type. @return a static text; "Unknown" for a GUID outside the table */
BRANTIX_EXPORT const char* orvix_object_get_name(const orvix_object* object);

/** Decodes the header length. @return bytes, a multiple of 16 */
BRANTIX_EXPORT uint64_t orvix_desc_get_header_len(const orvix_desc* desc);

/**
 * Decodes the payload length. 2 GiB and more is reported through `T_log` level 1 and returned all the same.
 *
 * @return bytes, a multiple of 16
 */
BRANTIX_EXPORT uint64_t orvix_desc_get_payload_len(const orvix_desc* desc);

/**
 * Decodes the payload length and takes off the padding.
 *
 * @param desc descriptor inside a complete object in memory: descriptor, header and payload contiguous
 * @return payload length in bytes, less its PKCS#7 padding where the flag is set and the padding is valid
 */
BRANTIX_EXPORT uint64_t orvix_desc_get_stripped_payload_len(const orvix_desc* desc);

/** Takes the logarithm to base 2. @return index of the highest set bit of `value`; 0 for 0, 63 for a negative value */
BRANTIX_EXPORT uint32_t log_base_two64(int64_t value);

/**
 * @name Walkers over a container in memory
 * The range spans the container from its file GUID on, which they skip without
 * comparing it. They stop with "not found" at an object of type 0 or of unknown type, and at the end of the span. None
 * of them logs.
 * @{
 */

/**
 * Finds the first object of `type` in sibling order: after an object, the one behind its payload. Moves the cursor.
 *
 * @param r the cursor, at the start of the span
 * @param headerOffset,headerLen,payloadOffset,payloadLen receive where the object's header and payload lie, in bytes
 *        from the start of the span; untouched when not found
 * @param type type number that is sought
 * @return 1 found with header and payload complete, 0 not found
 */
BRANTIX_EXPORT int locate_orvix_obj(orvix_range* r, uint32_t* headerOffset, uint32_t* headerLen,
                                    uint32_t* payloadOffset, uint32_t* payloadLen, uint32_t type);

/** Looks for an object of `type` on the chain of first children. @return 1 found, 0 not found */
BRANTIX_EXPORT int orvix_contains_object_type(int type, orvix_range r);

/**
 * Finds the first object of `type`: after an object, the first child when it has a header, else the next sibling.
 *
 * @param type          type number that is sought
 * @param offset,length receive the offset of the object's header from the start of the span, and its payload length;
 *        written only when both are not null
 * @param r             the span; the caller's cursor does not move
 * @return 1 found, 0 not found
 */
BRANTIX_EXPORT int orvix_get_object_payload(int type, uint64_t* offset, uint64_t* length, orvix_range r);

/**
 * Reads the one object at the cursor and moves behind it.
 *
 * @param r                    the cursor, at the object's head
 * @param header,payload       receive where header and payload lie, or null for one that does not fit the span
 * @param headerLen,payloadLen receive the lengths in bytes
 * @return the type number (0 included); ORVIX_TYPE_UNKNOWN with nothing written when an argument is null, no head is
 *         left, or the type is unknown
 */
BRANTIX_EXPORT uint32_t orvix_get_obj(orvix_range* r, void** header, uint32_t* headerLen, void** payload,
                                      uint32_t* payloadLen);
/** @} */

/** Tells a file's size. @return bytes; 0, with a line at info, when it cannot be told; an empty file has 0 too */
BRANTIX_EXPORT uint64_t getFileSize(const char* path);

/**
 * Reads up to `n` bytes at `offset` bytes from the start of the file into `buf`, which stays the caller's.
 *
 * @return number of bytes read, 0 to `n`; -1, with a line at info, when `fp` is null or cannot be positioned
 */
BRANTIX_EXPORT int get_orvix_descriptor(FILE* fp, uint32_t offset, void* buf, uint32_t n);

/**
 * Copies the header record (`ImageHeader`) of the image or bundle at `path`. Every line is logged at info.
 *
 * @param path     image or bundle
 * @param buf      caller's buffer of at least `capacity` bytes; what the file cuts short stays as it was
 * @param capacity most bytes to copy
 * @param copied   receives the record's number of bytes as soon as it is known, also when the copy then fails
 * @return 0; -1: not accessible, no signature object first, no image header inside, or not one byte of it in the file
 */
BRANTIX_EXPORT int32_t extract_header_info(const char* path, void* buf, size_t capacity, size_t* copied);

BRANTIX_END_C

#ifdef __cplusplus
static_assert(sizeof(orvix_desc) == 16 && alignof(orvix_desc) == 1);
static_assert(offsetof(orvix_desc, payloadUnits) == 3 && offsetof(orvix_desc, flags) == 8);
static_assert(sizeof(orvix_object) == 32 && offsetof(orvix_object, desc) == 16);
static_assert(sizeof(orvix_range) == 24);
#endif
