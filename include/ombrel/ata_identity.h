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
 * @par Threads
 * Any; a record belongs to one thread at a time.
 *
 * @par Failures
 * A function that fails leaves the fault "invalid"
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
    /** Its model, without spaces at either end. */
    char m_model[41];
    /** Its serial number, likewise. */
    char m_serial[21];
    /** The revision of its firmware, likewise. */
    char m_firmware[9];
    /** In bytes: m_sectors times m_logical_sector. */
    uint64_t m_capacity;
    /** Logical sectors that can be addressed, by 48 bits, else by 28, else by cylinders. */
    uint64_t m_sectors;
    /** Those that can be addressed by 28 bits. */
    uint32_t m_sectors_28;
    /** Bytes of a logical sector: 512 when nothing else is told. */
    uint32_t m_logical_sector;
    /** Bytes of a physical sector: at least those of a logical one. */
    uint32_t m_physical_sector;
    /** Bytes by which the first logical sector lies within a physical one. */
    uint32_t m_sector_offset;
    uint16_t m_cylinders;     /**< the geometry of old: cylinders, */
    uint16_t m_heads;         /**< heads, */
    uint16_t m_track_sectors; /**< sectors of a track */
    /** Revolutions a minute, or #def_ombrel_ata_not_rotating. */
    uint16_t m_rotation_rate;
    /** How wide it is, in hundredths of an inch: 525, 350, 250 or 180; 1 for less than 180. */
    uint16_t m_form_factor;
    /** The greatest edition that it follows: 1 to 8 for ATA-1 to ATA8-ACS, 9 for ACS-2, 10 for ACS-3. */
    uint16_t m_ata_version;
    /** Commands that can wait in its queue: 1 to 32. */
    uint16_t m_queue_depth;
    /** Speeds of serial ATA that it has: bits 0, 1, 2 for 1.5, 3 and 6 Gbit/s. */
    uint16_t m_sata_generations;
    /** The one in use: 1, 2 or 3. */
    uint16_t m_sata_generation;
    /** Modes of programmed transfers: bits 0 to 4. */
    uint16_t m_pio_modes;
    uint16_t m_multiword_modes; /**< modes of multiword DMA: bits 0 to 2 */
    uint16_t m_multiword_mode;  /**< the one that is selected: one of these bits */
    uint16_t m_ultra_modes;     /**< modes of ultra DMA: bits 0 to 6 */
    uint16_t m_ultra_mode;      /**< the one that is selected: one of these bits */
    /** Sectors that READ MULTIPLE moves at most. */
    uint16_t m_multiple_sectors;
    /** Level of advanced power management: 1 (least power) to 254; 0 when it is switched off. */
    uint16_t m_power_level;
    uint16_t m_erase_minutes;          /**< how long a security erase takes */
    uint16_t m_enhanced_erase_minutes; /**< how long an enhanced one takes */
    /** Blocks of 512 bytes that one TRIM has at most. */
    uint16_t m_trim_blocks;
    /** Bits of the security state. */
    uint16_t m_security;
    /** Its world-wide name. */
    uint64_t m_world_wide_name;
    uint32_t m_supported; /**< features that it has */
    uint32_t m_enabled;   /**< features that are switched on */
    /** Whether the block's checksum is right. */
    int m_integrity;
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
OMBREL_API const char* ombrel_get_ata_feature_name(unsigned index);

OMBREL_END_C

#endif
