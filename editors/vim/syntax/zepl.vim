" Procedures of zepl. tools/editor_words keeps the lists of words.
if exists('b:current_syntax')
    finish
endif
syntax case match
syntax sync minlines=100

syntax match zeplOperator /[-+*\/%^=<>]\|!=/
syntax match zeplNumber /\<0[xX]\x\+\>\|\%(\w\|[^.]\.\)\@2<!\%(\d\+\%(\.\.\@!\d*\)\?\|\.\d\+\)\%([eE][+-]\?\d\+\)\?\>/
syntax match zeplNumber /\<\%(rate\|pi\|inf\|nan\)\>\%(\s*[[(]\)\@!/
syntax match zeplFunction /\<\%(abs\|sqrt\|exp\|log\|log10\|sin\|cos\|tan\|atan2\|min\|max\|floor\|ceil\|round\|trunc\|if\|length\|lowpass\|highpass\|bandpass\|bandstop\)\ze\s*(/
syntax match zeplType /:\s*\zs\%(int16\|int32\|float\|double\)\>/
syntax match zeplClause /[[:space:]\])"]\@1<=\%(from\|channel\|column\|interleaved\|convert\|partial\|to\|with\|limit\|rate\|timeout\|fill\|format\|capacity\|starts\|every\|for\)\>\%(\s*[+*\/%^<>=,)\]:]\|\[\)\@!/
syntax match zeplWord /\<\%(inside\|outside\|BARTLETT\|VONHANN\|HAMMING\|BLACKMAN\|RECTANGULAR\|FORWARD\|REVERSE\|KAISER\|HALF\|FULL\|PARTS\|POWER\|MAGNITUDE\|POLAR\)\>\%(\s*(\)\@!/ contained
syntax match zeplEscape /\\["\\nt]/ contained
syntax region zeplText start=/"/ end=/"\|$/ contains=zeplEscape oneline
syntax match zeplComment /#.*$/ contains=@Spell
syntax region zeplList start=/(/ end=/)/ contained
    \ contains=zeplList,zeplComment,zeplText,zeplType,zeplWord,zeplFunction,zeplNumber,zeplOperator
syntax match zeplTask /^\s*\h\w*\ze\s*(/ nextgroup=zeplList skipwhite
syntax match zeplCommand /^\s*\zs\%(ABS\|ALARM\|AVERAGE\|BAVERAGE\|BINTEGRATE\|BIRAMP\|BMERGEF\|BOUND\|CANGLE\|CHIRP\|CMAG\|COMPRESS\|CTCOUNT\|CTRATE\|DECIBEL\|DELTA\|DEXPAND\|DFT\|DISCARD\|FINDMAX\|FIRFILTER\|FIRLOWPASS\|FREQUENCY\|HIGH\|INTERP\|INTEGRATE\|LOADING\|LOW\|MERGEF\|MRBLOCK\|MTSFILT\|NTH\|OFFSET\|PCASSERT\|PCOUNT\|PID\|PID1\|PIDLATCH\|PIDRAMP\|PIDSCRAM\|POLAR\|PULSECOUNT\|PVALUE\|PWM\|QDCOUNT\|QDECODE\|RANDOM\|RANGE\|RAVERAGE\|REPLICATE\|RMS\|RSUM\|SCALE\|SEPARATE\|SEPARATEF\|SKIP\|SQRT\|STDDEV\|TCOLLATE\|TFUNCTION1\|TFUNCTION2\|THERMO\|TAND\|TGEN\|TOGGLE\|TOGGWT\|TOR\|TRIGRECV\|TRIGSCALE\|TRIGSEND\|TSTAMP\|VARIANCE\|COSINEWAVE\|SAWTOOTH\|SINEWAVE\|SQUAREWAVE\|TRIANGLE\|CORRELATE\|CROSSPOWER\|FFT\|MIXRFFT\)\ze\s*(/ nextgroup=zeplList skipwhite
syntax match zeplName /\h\w*/ contained
syntax match zeplStatement /^\s*\zs\%(constant\|rate\|feed\|pipe\|trigger\|variable\|vector\|table\)\ze\s\+["0-9.-]/
syntax match zeplStatement /^\s*\zs\%(constant\|rate\|feed\|pipe\|trigger\|variable\|vector\|table\)\ze\s\+\h/ nextgroup=zeplName skipwhite

highlight default link zeplOperator Operator
highlight default link zeplNumber Number
highlight default link zeplFunction Function
highlight default link zeplType Type
highlight default link zeplClause Keyword
highlight default link zeplWord Constant
highlight default link zeplEscape SpecialChar
highlight default link zeplText String
highlight default link zeplComment Comment
highlight default link zeplTask Identifier
highlight default link zeplCommand Function
highlight default link zeplName Identifier
highlight default link zeplStatement Statement

let b:current_syntax = 'zepl'
