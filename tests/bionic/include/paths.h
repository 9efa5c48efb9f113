// Where things lie in the system.
#pragma once

#define _PATH_BSHELL "/system/bin/sh"
