#include "module/command_table.h"

#include "module/commands.h"

namespace zcmds {

const CommandEntry mainTable[] = {
#define COMMAND(name, entry, signature) {name, entry, &signature},
#define COMMAND_WITHOUT_SIGNATURE(name, entry) {name, entry, nullptr},
#include "module/commands.def"
    {nullptr, nullptr, nullptr},
};

const CommandEntry fftTable[] = {
#define FFT_COMMAND(name, entry, signature) {name, entry, &signature},
#include "module/commands.def"
    {nullptr, nullptr, nullptr},
};

}  // namespace zcmds
