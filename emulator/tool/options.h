// The command line of the tool. Main thread.
#pragma once

namespace handset_tool {

// Reads it and carries the verb out; the status to end with. Throws tool::failure; usage is one.
int carry_out(int argc, char **argv);

} // namespace handset_tool
