#include "stats/block_reducer.h"

#include "frame/values.h"
#include "host/parameters.h"

namespace zcmds {

namespace {

void openOutput(StreamWriter& writer, Slot slot, std::int32_t bsize) {
    void* first;
    // Room for the maximum number of blocks that one transfer can end, and to spare.
    openWriter(writer, handleIn<PipeHandle>(slot), blockTransfer / bsize + 8, &first);
}

}  // namespace

bool openBlockStreams(ParamList list, StreamReader& reader, StreamWriter& writer, StreamWriter& locWriter,
                      std::int32_t& bsize, bool allowLoc, bool checkType) {
    std::int32_t count;
    const Slot* params = zepl::param_process(list, &count, 3, 4, anyPipe, constantInteger, anyPipe, integerPipe);
    bsize = integerIn(params[2], zepl::param_type(list, 2));
    if (bsize < 1) zepl::param_error_msg(ParamError::notPositive, 2);
    if (checkType && zepl::param_type(list, 3) != zepl::param_type(list, 1))
        zepl::param_error_msg(ParamError::typeMismatch, 3);
    const bool withLoc = count == 4;
    if (withLoc) {
        if (!allowLoc) zepl::param_error_msg(ParamError::tooMany, 4);
        openOutput(locWriter, params[4], bsize);
    }
    openReader(reader, handleIn<PipeHandle>(params[1]), blockTransfer);
    openOutput(writer, params[3], bsize);
    return withLoc;
}

}  // namespace zcmds
