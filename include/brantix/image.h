// The header record of a software image, and handles to it.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "brantix/export.h"

/** @file
 * The header record of a software image, and handles to it. */

BRANTIX_BEGIN_C

/**
 * The header record of a software image, as it stands in the file. Texts need not be terminated within their field: a
 * field that is not runs on into the next.
 */
typedef struct ImageHeader {
  char build_date[16];       /**< when the image was built */
  char version[32];          /**< version of the image */
  char platform_version[32]; /**< version of its platform */
  char interim_version[32];  /**< version between releases */
  char filename[64];         /**< file name of the image */
  char software_id[120];     /**< software id */
  char image_size[24];       /**< decimal digits, bytes */
  uint8_t platform;          /**< code of the image producer, passed through */
  uint8_t image_type;        /**< code of the image producer, passed through */
  uint8_t rest[254];         /**< carried, not interpreted */
} ImageHeader;

/** An image handle: the library's copy of an image's header. Read-only, so queries may run at the same time. */
typedef struct SCI_image_s SCI_image_s;

/**
 * Opens an image: reads its header and closes the file again. Lines are logged at info.
 *
 * @param aInImageName path of an image in the container format, or, when it contains ".img__hdr", of a stand-alone
 *                     header file, of which at most 576 bytes are read; what it lacks of them is zero
 * @return a handle, to be given back with `SCI_imageClose`; null when the name is null or no header can be read
 */
BRANTIX_EXPORT SCI_image_s* SCI_imageOpen(const char* aInImageName);

/** Frees a handle; null is ignored. */
BRANTIX_EXPORT void SCI_imageClose(SCI_image_s* handle);

/**
 * @name Texts of the header
 * Terminated, inside the handle, valid until it is closed; null for a null handle.
 * @{
 */
BRANTIX_EXPORT const char* SCI_imageName(const SCI_image_s* handle);           /**< `filename` */
BRANTIX_EXPORT const char* SCI_imageVersion(const SCI_image_s* handle);        /**< `version` */
BRANTIX_EXPORT const char* SCI_imageInterimVersion(const SCI_image_s* handle); /**< `interim_version` */
/** @} */

/**
 * @name Codes of the header
 * 0 for a null handle.
 * @{
 */
BRANTIX_EXPORT unsigned int SCI_imagePlatform(const SCI_image_s* handle); /**< `platform` */
BRANTIX_EXPORT unsigned int SCI_imageType(const SCI_image_s* handle);     /**< `image_type` */
/** @} */

/**
 * Tells the image's size as its header gives it.
 *
 * @return bytes: the leading decimal number of `image_size`; 0 without one or for a null handle
 */
BRANTIX_EXPORT int64_t SCI_imageSize(const SCI_image_s* handle);

/** Computes no digest. @return 0, or -1 for a null handle */
BRANTIX_EXPORT int32_t SCI_verifyImageMD5(const SCI_image_s* handle);

/** Opens nothing: the srg operations work on the image handle itself. @return `handle` */
BRANTIX_EXPORT SCI_image_s* SCI_srgOpen(SCI_image_s* handle);

/** Does nothing; the handle is still to be closed with `SCI_imageClose`. */
BRANTIX_EXPORT void SCI_srgClose(SCI_image_s* handle);

/**
 * @name Texts of the header, srg operations
 * As those above.
 * @{
 */
BRANTIX_EXPORT const char* SCI_srgGetVersion(const SCI_image_s* handle);         /**< `version` */
BRANTIX_EXPORT const char* SCI_srgGetInterimVersion(const SCI_image_s* handle);  /**< `interim_version` */
BRANTIX_EXPORT const char* SCI_srgGetPlatformVersion(const SCI_image_s* handle); /**< `platform_version` */
BRANTIX_EXPORT const char* SCI_srgGetSwid(const SCI_image_s* handle);            /**< `software_id` */
BRANTIX_EXPORT const char* SCI_srgGetBuildDate(const SCI_image_s* handle);       /**< `build_date`: the handle itself */
/** @} */

BRANTIX_END_C

#ifdef __cplusplus
static_assert(sizeof(ImageHeader) == 576 && alignof(ImageHeader) == 1);
static_assert(offsetof(ImageHeader, version) == 16 && offsetof(ImageHeader, platform_version) == 48);
static_assert(offsetof(ImageHeader, interim_version) == 80 && offsetof(ImageHeader, filename) == 112);
static_assert(offsetof(ImageHeader, software_id) == 176 && offsetof(ImageHeader, image_size) == 296);
static_assert(offsetof(ImageHeader, platform) == 320 && offsetof(ImageHeader, image_type) == 321);
#endif
