// Fronts that are still to be built. Each answers with zypStsBadAlgorithmErr and touches nothing.

#define ZYPR_UNBUILT(name) .globl front_##name; .hidden front_##name; .type front_##name, @function; front_##name:
        .text
        .balign 16
ZYPR_UNBUILT(zyprRemap_16u_C1PV)
ZYPR_UNBUILT(zyprRemap_32f_C1PV)
ZYPR_UNBUILT(zyprRemap_8u_C1PV)
ZYPR_UNBUILT(zyprWarpAffineGetBufSize)
ZYPR_UNBUILT(zyprWarpAffine_16u_C1PV)
ZYPR_UNBUILT(zyprWarpAffine_32f_C1PV)
ZYPR_UNBUILT(zyprWarpAffine_8u_C1PV)
        movl $-5, %eax
        ret

        .section .note.GNU-stack, "", @progbits
