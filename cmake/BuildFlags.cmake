# Flags for our own targets only, never for consumers.
function(tviojsontree_flags target)
    # The rooms below src/ are ours alone: a consumer finds the seam beside the public headers.
    target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR}/src)
    # Calls inside a library stay inside it.
    target_compile_options(${target} PRIVATE -fno-semantic-interposition)
    if(TVIOJSONTREE_DEVELOPER)
        target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
        if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
            # GCC 12 takes fault with the concatenation of standard strings (GCC bug 105651).
            target_compile_options(${target} PRIVATE -Wno-restrict)
        elseif(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
            # RapidJSON's iterators compare ambiguously under C++20's reversed operators.
            target_compile_options(${target} PRIVATE -Wno-ambiguous-reversed-operator)
        endif()
    endif()
    if(TVIOJSONTREE_FUZZ)
        target_compile_options(${target} PRIVATE -fsanitize=fuzzer-no-link
                               -fsanitize-ignorelist=${PROJECT_SOURCE_DIR}/fuzz/ignored.txt)
    endif()
    if(TVIOJSONTREE_SANITIZER)
        target_compile_options(${target} PRIVATE -fsanitize=${TVIOJSONTREE_SANITIZER}
                               -fno-sanitize-recover=all -fno-omit-frame-pointer)
        target_link_options(${target} PRIVATE -fsanitize=${TVIOJSONTREE_SANITIZER})
        if(TVIOJSONTREE_SANITIZER STREQUAL "thread")
            # Debian's oneTBB is not built for the race detector, which then reports hundreds of
            # races inside it; suppressing them would hide the loop bodies too. The loops run on
            # plain threads instead (src/base/parallel_loop.hpp).
            target_compile_definitions(${target} PRIVATE TVIOJSONTREE_PLAIN_THREADS)
        endif()
    else()
        target_link_options(${target} PRIVATE -Wl,-z,relro -Wl,-z,now)
        get_target_property(type ${target} TYPE)
        if(NOT type STREQUAL "MODULE_LIBRARY") # whose program has the rest
            target_link_options(${target} PRIVATE -Wl,--no-undefined)
        endif()
        if(CMAKE_BUILD_TYPE MATCHES "Rel")
            target_compile_options(${target} PRIVATE -fstack-protector-strong
                                   -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2 -D_GLIBCXX_ASSERTIONS)
        endif()
    endif()
endfunction()
