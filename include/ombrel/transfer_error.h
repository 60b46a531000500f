/**
 * @file transfer_error.h
 * @brief Why a transfer or a dialogue with a peer failed: the kind for programs, the peer's words for people.
 *
 * The clients of the application protocols keep the first failure, from which later ones follow, and give it
 * by their ombrel_..._get_error(). A failure that this side noticed has no code of the peer.
 */
#ifndef OMBREL_TRANSFER_ERROR_H
#define OMBREL_TRANSFER_ERROR_H

#include <ombrel/export.h>

OMBREL_BEGIN_C

/** Bytes of the text of a failure, its terminator included. */
#define def_ombrel_transfer_error_text_size 160

/** The first failure of a transfer. */
typedef struct ombrel_transfer_error_ts {
    int m_fault;     /**< a def_ombrel_fault_*; def_ombrel_fault_none when nothing failed */
    int m_peer_code; /**< what the peer answered: an FTP reply, a TFTP error, an HTTP status; 0 for none */
    /** What happened, terminated, one line: the peer's words where it gave some, without control characters
     * (each is a "?"), cut where they are longer; else the library's. Empty when nothing failed. */
    char m_text[def_ombrel_transfer_error_text_size];
} ombrel_transfer_error_t;

OMBREL_END_C

#endif
