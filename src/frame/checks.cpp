#include "frame/checks.h"

#include "host/parameters.h"

namespace zcmds {

namespace {

ParamMask scalarsFor(ParamMask pipeType) {
    switch (pipeType) {
        case pipeInt16:
            return constantInt16 | variableInt16;
        case pipeInt32:
            return anyInteger;
        case pipeFloat:
            return constantFloat | variableFloat;
        case pipeDouble:
            return constantDouble | variableDouble;
        default:
            return ~ParamMask{0};
    }
}

ParamMask vectorsFor(ParamMask pipeType) {
    switch (pipeType) {
        case pipeInt16:
            return vectorInt16;
        case pipeInt32:
            return vectorInt32;
        case pipeFloat:
            return vectorFloat;
        case pipeDouble:
            return vectorDouble;
        default:
            return ~ParamMask{0};
    }
}

bool checkKind(ParamMask accepted, ParamMask kind, std::int32_t index) {
    if ((accepted & kind) == kind) return true;
    zepl::param_error_msg(ParamError::typeMismatch, index);
    return false;
}

}  // namespace

bool checkSameElementType(ParamList list, ParamPair pair) {
    if (zepl::param_type(list, pair.source) != zepl::param_type(list, pair.destination))
        zepl::param_error_msg(ParamError::typeMismatch, pair.destination);
    return true;
}

bool checkConstantForPipe(ParamMask pipeType, ParamMask kind, std::int32_t index) {
    return checkKind(scalarsFor(pipeType), kind, index);
}

bool checkVectorForPipe(ParamMask pipeType, ParamMask kind, std::int32_t index) {
    return checkKind(vectorsFor(pipeType), kind, index);
}

}  // namespace zcmds
