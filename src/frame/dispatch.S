// The dispatch table and the exported stubs: one slot and one jump for each line of exports.inc.
//
// A stub loads its slot and jumps, so that the front sees the caller's registers and stack as they were. The table is filled
// when the image is laid out and lies in relocation-read-only memory; nothing writes it afterwards.

        .section .data.rel.ro, "aw", @progbits
        .balign 8
        .globl zyprDispatchTable
        .hidden zyprDispatchTable
        .type zyprDispatchTable, @object
zyprDispatchTable:
#define ZYPR_EXPORT(name) .Lslot_##name: .quad front_##name;
#include "exports.inc"
#undef ZYPR_EXPORT
        .size zyprDispatchTable, . - zyprDispatchTable

        .text
#define ZYPR_EXPORT(name) .balign 16; .globl name; .type name, @function; \
        name: jmp *.Lslot_##name(%rip); .size name, . - name;
#include "exports.inc"
#undef ZYPR_EXPORT

        .section .note.GNU-stack, "", @progbits
