/**
 * @file ata_identity.h
 * @brief What a disk says of itself: the 512 bytes of the ATA command IDENTIFY DEVICE, taken apart.
 *
 * @code
 * uint8_t block[def_ombrel_ata_identity_size]; // read from the disk, or from a file
 * ombrel_ata_identity_t disk;
 * if (ombrel_parse_ata_identity(block, sizeof block, &disk) == 0)
 *     ombrel_printf("%s, serial %s: %llu bytes\n", disk.m_model, disk.m_serial,
 *                   (unsigned long long)disk.m_capacity);
 * @endcode
 *
 * The block is 256 words of 16 bits, each with its lower byte first. What is told here are the words that
 * ACS-3 has, and those of earlier editions that disks still fill in. A word that a disk marks as not valid,
 * or whose marks are missing, counts as not told: 0, an empty text, a feature that is not there.
 *
 * Getting the block from a disk is the caller's: on Linux the files "identify" that drivers show, or a
 * request to the driver.
 *
 * Threads: any; a record belongs to one thread at a time. A function that fails leaves the fault "invalid"
 * where ombrel_last_fault() finds it.
 */
#ifndef OMBREL_ATA_IDENTITY_H
#define OMBREL_ATA_IDENTITY_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/** Bytes of an identify block. */
#define def_ombrel_ata_identity_size 512

/**
 * @name Features
 * Bits of m_supported and m_enabled. Features that cannot be switched are enabled when they are supported.
 * @{
 */
#define def_ombrel_ata_lba 0x00000001u                /**< sectors are addressed by number */
#define def_ombrel_ata_lba48 0x00000002u              /**< by numbers of 48 bits */
#define def_ombrel_ata_dma 0x00000004u                /**< transfers by DMA */
#define def_ombrel_ata_smart 0x00000008u              /**< it watches its own health */
#define def_ombrel_ata_smart_self_test 0x00000010u    /**< it tests itself */
#define def_ombrel_ata_security 0x00000020u           /**< passwords: see m_security too */
#define def_ombrel_ata_power_management 0x00000040u   /**< power management */
#define def_ombrel_ata_advanced_power 0x00000080u     /**< advanced power management: see m_power_level */
#define def_ombrel_ata_write_cache 0x00000100u        /**< write cache */
#define def_ombrel_ata_look_ahead 0x00000200u         /**< it reads ahead */
#define def_ombrel_ata_host_protected 0x00000400u     /**< a protected area at its end */
#define def_ombrel_ata_acoustic 0x00000800u           /**< automatic acoustic management */
#define def_ombrel_ata_flush 0x00001000u              /**< FLUSH CACHE */
#define def_ombrel_ata_flush_ext 0x00002000u          /**< FLUSH CACHE EXT */
#define def_ombrel_ata_error_log 0x00004000u          /**< logs by the general purpose logging commands */
#define def_ombrel_ata_media_serial 0x00008000u       /**< media serial number */
#define def_ombrel_ata_wwn 0x00010000u                /**< a world-wide name: see m_world_wide_name */
#define def_ombrel_ata_ncq 0x00020000u                /**< queued commands of serial ATA: see m_queue_depth */
#define def_ombrel_ata_trim 0x00040000u               /**< TRIM */
#define def_ombrel_ata_trim_deterministic 0x00080000u /**< trimmed sectors read the same each time */
#define def_ombrel_ata_trim_zeroes 0x00100000u        /**< trimmed sectors read as zeroes */
#define def_ombrel_ata_microcode 0x00200000u          /**< DOWNLOAD MICROCODE */
#define def_ombrel_ata_packet 0x00400000u             /**< commands of packets, as CD drives have them */
#define def_ombrel_ata_removable 0x00800000u          /**< its medium can be taken out */
#define def_ombrel_ata_sanitize 0x01000000u           /**< SANITIZE */
#define def_ombrel_ata_write_uncorrectable 0x02000000u /**< WRITE UNCORRECTABLE EXT */
#define def_ombrel_ata_free_fall 0x04000000u           /**< it parks its heads when it falls */
#define def_ombrel_ata_sct 0x08000000u                 /**< SMART command transport */
/** @} */

/** How many features there are: bits 0 to this number - 1. */
#define def_ombrel_ata_feature_count 28

/**
 * @name Security
 * Bits of m_security.
 * @{
 */
#define def_ombrel_ata_security_supported 0x01u      /**< passwords can be set */
#define def_ombrel_ata_security_enabled 0x02u        /**< one is set */
#define def_ombrel_ata_security_locked 0x04u         /**< the disk is locked */
#define def_ombrel_ata_security_frozen 0x08u         /**< settings cannot be changed until power is cut */
#define def_ombrel_ata_security_expired 0x10u        /**< too many passwords were tried */
#define def_ombrel_ata_security_enhanced_erase 0x20u /**< enhanced erase is there */
#define def_ombrel_ata_security_maximum 0x100u       /**< level maximum, not high */
/** @} */

/** m_rotation_rate of a disk without moving parts. */
#define def_ombrel_ata_not_rotating 1

/**
 * @name The integrity word
 * Values of m_integrity.
 * @{
 */
#define def_ombrel_ata_integrity_absent 0 /**< the block has no checksum, as older disks */
#define def_ombrel_ata_integrity_good 1   /**< it is right */
#define def_ombrel_ata_integrity_bad 2    /**< it is wrong: some bytes are not what the disk said */
/** @} */

/** What a disk says of itself. Numbers that it does not tell are 0. */
typedef struct ombrel_ata_identity_ts {
    char m_model[41];    /**< its model, without spaces at either end. Texts have characters 0x20 to 0x7E, "?"
                            in the place of others */
    char m_serial[21];   /**< its serial number, likewise */
    char m_firmware[9];  /**< the revision of its firmware, likewise */
    uint64_t m_capacity; /**< in bytes: m_sectors times m_logical_sector */
    uint64_t m_sectors;  /**< logical sectors that can be addressed, by 48 bits, else by 28, else by
                            cylinders */
    uint32_t m_sectors_28;       /**< those that can be addressed by 28 bits */
    uint32_t m_logical_sector;   /**< bytes of a logical sector: 512 when nothing else is told */
    uint32_t m_physical_sector;  /**< bytes of a physical one, at least that of a logical one */
    uint32_t m_sector_offset;    /**< bytes by which the first logical sector lies within a physical one */
    uint16_t m_cylinders;        /**< the geometry of old: cylinders, */
    uint16_t m_heads;            /**< heads, */
    uint16_t m_track_sectors;    /**< sectors of a track */
    uint16_t m_rotation_rate;    /**< revolutions a minute, or #def_ombrel_ata_not_rotating */
    uint16_t m_form_factor;      /**< in hundredths of an inch across (525, 350, 250, 180); 1 for less than
                                    an inch and eight tenths; 0 when not told */
    uint16_t m_ata_version;      /**< the greatest edition it follows: 1 to 8 for ATA-1 to ATA8-ACS, 9 for
                                    ACS-2, 10 for ACS-3, and so on */
    uint16_t m_queue_depth;      /**< commands that can wait in its queue: 1 to 32 */
    uint16_t m_sata_generations; /**< speeds of serial ATA: bits 0, 1, 2 for 1.5, 3 and 6 Gbit/s */
    uint16_t m_sata_generation;  /**< the one in use: 1 to 3 */
    uint16_t m_pio_modes;        /**< programmed transfers: bits 0 to 4 for its modes */
    uint16_t m_multiword_modes;  /**< multiword DMA: bits 0 to 2; the modes it can do */
    uint16_t m_multiword_mode;   /**< the one that is selected: a bit of these */
    uint16_t m_ultra_modes;      /**< ultra DMA: bits 0 to 6; the modes it can do */
    uint16_t m_ultra_mode;       /**< the one that is selected: a bit of these */
    uint16_t m_multiple_sectors; /**< sectors that READ MULTIPLE moves at most */
    uint16_t m_power_level;      /**< level of advanced power management: 1 (least) to 254 */
    uint16_t m_erase_minutes;    /**< how long a security erase takes; 0 when not told */
    uint16_t m_enhanced_erase_minutes; /**< how long an enhanced one takes; 0 when not told */
    uint16_t m_trim_blocks;            /**< blocks of 512 bytes that one TRIM may have at most */
    uint16_t m_security;               /**< bits of the security state */
    uint64_t m_world_wide_name;        /**< its world-wide name */
    uint32_t m_supported;              /**< features it has */
    uint32_t m_enabled;                /**< features that are switched on */
    int m_integrity;                   /**< whether the block's checksum is right */
} ombrel_ata_identity_t;

/**
 * @brief Takes an identify block apart.
 *
 * Bytes are an identify block when they tell a model, their three texts have no control characters, and bits
 * that are zero in every edition are. A wrong checksum is told, not refused.
 * @param block    the bytes
 * @param size     how many: #def_ombrel_ata_identity_size
 * @param identity receives what they say; left as it was on failure
 * @return 0; -1 when an argument is null, the size is another, or the bytes are no identify block
 */
OMBREL_API int ombrel_parse_ata_identity(const void* block, size_t size, ombrel_ata_identity_t* identity);

/**
 * @brief The name of a feature.
 * @param index the number of its bit, below #def_ombrel_ata_feature_count
 * @return the name, such as "LBA48" or "write cache"; null for other numbers
 */
OMBREL_API const char* ombrel_ata_feature_name(unsigned index);

OMBREL_END_C

#endif
