# zepl_add_module(NAME SOURCE...): a target NAME that builds the module NAME.zlm from the sources, against the contract alone.
#
# A module exports ModuleCompatibilityCheck, ModuleVersion and ModuleInstall, and nothing else. It is linked lazily, so that
# what a host lacks is found when it is called, and without contraction, so that its results are the same on every processor.
function(zepl_add_module name)
    add_library(${name} MODULE ${ARGN})
    set_target_properties(${name} PROPERTIES PREFIX "" SUFFIX ".zlm" CXX_VISIBILITY_PRESET hidden
        VISIBILITY_INLINES_HIDDEN ON)
    target_compile_features(${name} PRIVATE cxx_std_20)
    target_compile_options(${name} PRIVATE -ffp-contract=off)
    target_link_libraries(${name} PRIVATE zepl::contract $<TARGET_FILE:zepl::zepl>)
    target_link_options(${name} PRIVATE -Wl,-z,lazy)
endfunction()
