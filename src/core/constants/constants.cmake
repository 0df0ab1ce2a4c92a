# The product constants reach the program only enciphered: the table is configured into the
# build tree, and a tool built from the same cipher sources turns it into a header holding the
# hexadecimal text alone. Included from src/core, where sonivert_core is defined.
set(CONSTANTS_SOURCE_DIR ${CMAKE_CURRENT_SOURCE_DIR}/constants)
set(CONSTANTS_GENERATED_DIR ${CMAKE_CURRENT_BINARY_DIR}/constants/generated)
set(CONSTANTS_TABLE ${CMAKE_CURRENT_BINARY_DIR}/constants/product_constants.txt)
set(CONSTANTS_HEADER ${CONSTANTS_GENERATED_DIR}/product_constants_table.h)

configure_file(${CONSTANTS_SOURCE_DIR}/product_constants.txt.in ${CONSTANTS_TABLE} @ONLY)

add_executable(encipher_table
    ${CMAKE_SOURCE_DIR}/tools/constants/encipher_table.cpp
    ${CONSTANTS_SOURCE_DIR}/stream_cipher.cpp
    ${CONSTANTS_SOURCE_DIR}/sha2.cpp
    ${CONSTANTS_SOURCE_DIR}/key_derivation.cpp
    ${CONSTANTS_SOURCE_DIR}/cipher_front_end.cpp
    ${CONSTANTS_SOURCE_DIR}/stop_processing.cpp
    ${CONSTANTS_SOURCE_DIR}/table_cipher.cpp)
target_include_directories(encipher_table PRIVATE ${CMAKE_SOURCE_DIR}/src)
target_link_libraries(encipher_table PRIVATE Qt6::Core)
# A build tool, not part of what ships in bin/.
set_target_properties(encipher_table PROPERTIES
    RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tools
    AUTOMOC OFF)
sonivert_warnings(encipher_table)

add_custom_command(
    OUTPUT ${CONSTANTS_HEADER}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${CONSTANTS_GENERATED_DIR}
    COMMAND encipher_table ${CONSTANTS_TABLE} ${CONSTANTS_HEADER}
    DEPENDS encipher_table ${CONSTANTS_TABLE}
    COMMENT "Enciphering the product constants table"
    VERBATIM)

target_sources(sonivert_core PRIVATE ${CONSTANTS_HEADER})
target_include_directories(sonivert_core PRIVATE ${CONSTANTS_GENERATED_DIR})
