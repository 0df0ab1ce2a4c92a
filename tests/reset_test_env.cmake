# Empties the home and temporary folders of every test (ENV_ROOT/<test>/home and .../tmp), so
# that nothing an earlier run left there (settings, remembered folders, files) decides a result.
file(GLOB envs LIST_DIRECTORIES true "${ENV_ROOT}/*")
foreach(env ${envs})
    if(IS_DIRECTORY "${env}/home" OR IS_DIRECTORY "${env}/tmp")
        file(REMOVE_RECURSE "${env}/home" "${env}/tmp")
        file(MAKE_DIRECTORY "${env}/home" "${env}/tmp")
    endif()
endforeach()
