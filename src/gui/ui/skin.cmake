# The light skin's pictures are drawn as SVG in ui/images and rendered into bin/Skin/Light at
# build time, so the repository holds no binary artwork and every picture stays editable.

add_executable(sonivert_render_skin ${CMAKE_SOURCE_DIR}/tools/skin/render_skin.cpp)
target_link_libraries(sonivert_render_skin PRIVATE Qt6::Gui Qt6::Svg)
set_target_properties(sonivert_render_skin PROPERTIES
    RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tools)
sonivert_warnings(sonivert_render_skin)

set(SONIVERT_SKIN_DIR ${SONIVERT_BIN_DIR}/Skin)
set(SONIVERT_SKIN_IMAGE_DIR ${SONIVERT_SKIN_DIR}/Light)
set(SONIVERT_SKIN_SVG_DIR ${CMAKE_CURRENT_LIST_DIR}/images)

# File name and pixel size of every picture; the drawing is images/<name>.svg.
set(SONIVERT_SKIN_PICTURES
    img_snv_addfile.png:24x24
    img_snv_removefile.png:24x24
    img_snv_clearall.png:24x24
    img_snv_browse.png:24x24
    img_snv_convert.png:24x24
    img_snv_stop.png:24x24
    img_snv_pause.png:24x24
    img_snv_warning.png:48x48
    img_snv_cancel.png:24x24
    img_snv_analyzer.png:24x24
    img_snv_completed.png:48x48
    img_snv_trim.png:24x24
    img_snv_trim_left_small.png:20x20
    img_snv_trim_right_small.png:20x20
    img_snv_trim_play_selected.png:20x20
    img_snv_resume.png:24x24
    img_snv_setting.png:24x24
    img_snv_orange_check.png:24x24
    img_snv_drm_lock.png:48x48
    img_snv_player_play.png:24x24
    img_snv_player_pause.png:24x24
    img_snv_player_stop.png:24x24
    img_snv_player_vol_on.png:24x24
    img_snv_player_vol_off.png:24x24
    img_snv_tag_gettingstarted.png:360x112
    img_snv_dragdrop.png:200x140
    img_snv_list_icons.bmp:224x16
    img_snv_combo_arrow.png:12x12)

set(skin_outputs)
set(skin_sources)
foreach(entry ${SONIVERT_SKIN_PICTURES})
    string(REGEX REPLACE ":.*$" "" file_name ${entry})
    string(REGEX REPLACE "\\.[a-z]+$" "" base_name ${file_name})
    list(APPEND skin_sources ${SONIVERT_SKIN_SVG_DIR}/${base_name}.svg)
    list(APPEND skin_outputs ${SONIVERT_SKIN_IMAGE_DIR}/${file_name})
    if(file_name MATCHES "\\.png$")
        list(APPEND skin_outputs ${SONIVERT_SKIN_IMAGE_DIR}/${base_name}@2x.png)
    endif()
endforeach()

add_custom_command(
    OUTPUT ${skin_outputs}
    COMMAND sonivert_render_skin ${SONIVERT_SKIN_SVG_DIR} ${SONIVERT_SKIN_IMAGE_DIR}
            ${SONIVERT_SKIN_PICTURES}
    DEPENDS sonivert_render_skin ${skin_sources}
    COMMENT "Rendering the light skin's pictures"
    VERBATIM)
add_custom_target(sonivert_skin ALL DEPENDS ${skin_outputs})

# The program and the GUI tests both expect the skin beside the executables.
add_dependencies(sonivert sonivert_skin)
add_dependencies(sonivert_gui sonivert_skin)

install(TARGETS sonivert RUNTIME DESTINATION bin)
install(DIRECTORY ${SONIVERT_SKIN_DIR}/ DESTINATION share/sonivert/Skin)
