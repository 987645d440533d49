// Vectors: arrays of elements of one type, fixed for the run.
#pragma once

#include "codes.h"
#include "handles.h"

namespace zepl {

std::int32_t vector_length(VectorHandle vector);  // elements
void* vector_start(VectorHandle vector);          // the first element
ParamMask vector_type(VectorHandle vector);       // vectorInt16, vectorInt32, vectorFloat or vectorDouble

}  // namespace zepl
