# The loops of each instruction set stand in a unit of their own, compiled for it. Products and sums are
# never fused there unless the code says so: sums in doubles must come out as everywhere else.
set(setUnits ${CMAKE_CURRENT_LIST_DIR}/simd)
set_source_files_properties(${setUnits}/KernelsSse2.cpp PROPERTIES COMPILE_OPTIONS "-msse2;-ffp-contract=off")
set_source_files_properties(${setUnits}/KernelsSse41.cpp PROPERTIES COMPILE_OPTIONS
                            "-mssse3;-msse4.1;-ffp-contract=off")
set_source_files_properties(${setUnits}/KernelsAvx2.cpp PROPERTIES COMPILE_OPTIONS
                            "-mavx2;-mfma;-ffp-contract=off")
set_source_files_properties(${setUnits}/KernelsAvx512.cpp PROPERTIES COMPILE_OPTIONS
                            "-mavx512f;-mavx512bw;-mavx512dq;-mavx512vl;-ffp-contract=off")
