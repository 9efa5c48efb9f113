// The devices that no kernel driver answers on a workstation, one table of them and one of their requests. An open
// device is a descriptor of a file under /handset, and is recognised by that file's name: nothing is kept in the
// process, so descriptors stay what they are across fork, exec and dup. One that is only read and written once it is
// open need not be recognised, and is not. Called from the intercepted functions on whatever thread makes the call;
// errno is set as by the system call.

#pragma once

struct device_st;

// The device with this path; null when it is none of ours.
const device_st *device_by_path(const char *path);

// The device that a descriptor is open on; null when it is none of ours.
const device_st *device_by_fd(int fd);

// open(2) of a device: a descriptor, or -1.
int device_open(const device_st &device, int flags);

// ioctl(2) on an open device.
int device_ioctl(const device_st &device, unsigned long request, void *argument);

// Records an entry of a device that the kernel then carries out on the file itself (mmap, close), with its argument
// unless that is negative; false, with errno set, when the entry is told to fail.
bool device_admit(const device_st &device, const char *entry, long argument);
