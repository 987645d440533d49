// COSINEWAVE generates a cosine, which starts at its upper peak.

#include "generators/waveform.h"
#include "module/commands.h"

namespace zcmds {

// Shared by all waveforms: peak and period in samples, or both peaks, frequency and sampling time.
const char* const cosinewaveSignature =
    "(  ( const storage  (int16|int32|float|double)  peak ,     "
    "const storage  (int16|int32|float|double)  period ,   |    "
    "const storage  (int16|int32|float|double)  minpeak ,     "
    "const storage  (int16|int32|float|double)  maxpeak ,     const storage  (float|double)  freq ,     "
    "[ const storage  (float|double)  phase ,]     const storage  (float|double)  samptime ,   "
    ")  out pipe   (int16|int32|float|double)  dest   [ , const storage  string  modop1 ,  "
    "const pipe  (int16|int32|float|double)  modsig1     [ , const storage  string  modop2 ,  "
    "const pipe  (int16|int32|float|double)  modsig2 ] ] )";

std::uint32_t cosinewave(ParamList list) { return generateWaveform(list, WaveType::cosine); }

}  // namespace zcmds
