// A pseudo-terminal whose slave is reached under a fixed path, so that another program can open that path like a serial
// port. The owner keeps the master. When the other side closes its port, reads on the master fail with EIO; opening the
// record again makes a new slave and points the same path at it. One thread at a time; no lock is taken.
#pragma once

#include <stdint.h>
#include <termios.h>

struct pub_pty {
    int m_ptm_fd = -1;             // the master; 0 or less: closed
    char m_pts_name_a[40];         // the slave, for example /dev/pts/3
    char m_pts_mapping_name_a[28]; // the fixed path, a symbolic link; set by the owner before opening
    int32_t m_is_nonblock_mode;    // not 0: the master does not block
    termios m_attributes;          // working copy
};

// Opens a raw pseudo-terminal and puts the link in place of whatever file is there, for the system user and the radio
// group; a record that is open is closed first. The master is closed on exec and never the controlling terminal. The
// standard descriptors must be somebody's: a master on 0 would pass for a closed one. ERR_INVALID_PARAM for a null
// record and an empty path, ERR_C_FUNCTION for a failed system call; the record is then closed, and nothing is left
// behind but a link that cannot be removed, with the master that goes with it.
[[nodiscard]] int32_t pub_pty_open(pub_pty *pty);

// Removes the link, then closes the master; the path is kept for the next opening. -1 for a null record and a
// descriptor below 0. When the link cannot be removed: that code, and the master stays open.
int32_t pub_pty_close(pub_pty *pty);

// Removes the link; there being none is no error. ERR_INVALID_PARAM for a null record, or ERR_C_FUNCTION.
int32_t pub_pty_delete_mapping(pub_pty *pty);
