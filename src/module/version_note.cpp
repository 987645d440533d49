// The versions as text, in an ELF note that public tools show: readelf -p .note.zcmds3 build/zcmds3.zlm
// Written for the assembler, since a compiler's section attribute cannot say that the section is a note.

asm(R"(
    .pushsection .note.zcmds3, "a", %note
    .balign 4
    .long .LownerEnd - .Lowner
    .long .LtextEnd - .Ltext
    .long 1
.Lowner:
    .asciz "ZEPL"
.LownerEnd:
    .balign 4
.Ltext:
    .asciz "InternalName=zcmds3"
    .asciz "BuildVersion=1.52"
    .asciz "InterfaceVersion=1.04"
    .asciz "FileVersion=1.03"
    .asciz "ProductVersion=1.03"
.LtextEnd:
    .balign 4
    .popsection
)");
