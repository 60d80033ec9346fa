# add_java(<target> <jar> SOURCES <file>... [USES <target or jar>...] [HEADERS <target>] [MANIFEST <file>]
#     [RESOURCE <file>] [MODULE] [RELEASE <number> RELEASE_SOURCES <file>...])
#
# Compiles Java sources into a jar. The target's property JAR names it, SOURCE_LIST a file that lists the sources for
# Java's tools. HEADERS is an interface target with the JNI headers of the native methods. RESOURCE is added to the
# jar unchanged. With MODULE the jars used are modules. RELEASE_SOURCES are compiled for a later JDK, which takes their
# classes in the place of those of the same name. Two builds result in the same jar: its entries are sorted and have
# RELEASE_DATE.

# Strings are concatenated without java.lang.invoke, whose setup would take about a sixth of the start of the tool; some
# jars name others that need not be there.
set(JAVAC_FLAGS -Xlint:all,-path -encoding UTF-8 -XDstringConcat=inline)
if(Java_VERSION_MAJOR LESS_EQUAL 25) # a later compiler may warn of more
    list(APPEND JAVAC_FLAGS -Werror)
endif()
# File names in UTF-8 in every locale.
set(JAVA_TOOL ${CMAKE_COMMAND} -E env LC_ALL=C.UTF-8)

# java_jars(<variable> <target or jar>...): the jars' paths.
function(java_jars variable)
    foreach(each ${ARGN})
        if(TARGET ${each})
            get_target_property(each ${each} JAR)
        endif()
        list(APPEND jars ${each})
    endforeach()
    set(${variable} ${jars} PARENT_SCOPE)
endfunction()

# java_class_path(<variable> <target or jar>...): the jars as one argument.
function(java_class_path variable)
    java_jars(jars ${ARGN})
    cmake_path(CONVERT "${jars}" TO_NATIVE_PATH_LIST path)
    set(${variable} ${path} PARENT_SCOPE)
endfunction()

function(add_java target jar)
    cmake_parse_arguments(PARSE_ARGV 2 JAVA "MODULE" "HEADERS;MANIFEST;RESOURCE;RELEASE" "SOURCES;USES;RELEASE_SOURCES")
    set(work ${CMAKE_CURRENT_BINARY_DIR}/${target})
    java_jars(uses ${JAVA_USES})
    java_class_path(class_path ${JAVA_USES})
    list(TRANSFORM JAVA_SOURCES REPLACE "(.+)" "\"\\1\"\n" OUTPUT_VARIABLE quoted)
    string(JOIN "" quoted ${quoted})
    file(CONFIGURE OUTPUT ${work}/sources CONTENT "${quoted}" @ONLY)
    set(manifest)
    if(JAVA_MANIFEST)
        set(manifest --manifest ${JAVA_MANIFEST})
    endif()
    set(resource)
    if(JAVA_RESOURCE)
        cmake_path(GET JAVA_RESOURCE PARENT_PATH directory)
        cmake_path(GET JAVA_RESOURCE FILENAME name)
        set(resource -C ${directory} ${name})
    endif()
    set(path_option -cp)
    if(JAVA_MODULE)
        set(path_option --module-path)
    endif()
    set(compile_release)
    set(release)
    if(JAVA_RELEASE)
        set(compile_release COMMAND ${JAVA_TOOL} ${Java_JAVAC_EXECUTABLE} --release ${JAVA_RELEASE} ${JAVAC_FLAGS}
            -cp "${work}/classes:${class_path}" -d ${work}/release ${JAVA_RELEASE_SOURCES})
        set(release --release ${JAVA_RELEASE} -C ${work}/release .)
    endif()
    add_custom_command(OUTPUT ${jar}
        COMMAND ${CMAKE_COMMAND} -E rm -rf ${work}/classes ${work}/release
        COMMAND ${JAVA_TOOL} ${Java_JAVAC_EXECUTABLE} --release 11 ${JAVAC_FLAGS} ${path_option} "${class_path}" -d ${work}/classes
            -h ${work}/headers @${work}/sources
        ${compile_release}
        COMMAND ${JAVA_TOOL} ${Java_JAR_EXECUTABLE} --create --file ${jar} --date ${RELEASE_DATE} ${manifest}
            -C ${work}/classes . ${resource} ${release}
        DEPENDS ${JAVA_SOURCES} ${JAVA_RELEASE_SOURCES} ${uses} ${JAVA_MANIFEST} ${JAVA_RESOURCE}
        COMMENT "Compiling ${target}"
        VERBATIM)
    add_custom_target(${target} ALL DEPENDS ${jar})
    set_target_properties(${target} PROPERTIES JAR ${jar} SOURCE_LIST ${work}/sources)
    foreach(each ${JAVA_USES})
        if(TARGET ${each})
            add_dependencies(${target} ${each})
        endif()
    endforeach()
    if(JAVA_HEADERS)
        add_library(${JAVA_HEADERS} INTERFACE)
        target_include_directories(${JAVA_HEADERS} INTERFACE ${work}/headers)
        add_dependencies(${JAVA_HEADERS} ${target})
    endif()
endfunction()

# install_java(<target> <component>): the jar under its versioned and its plain name, as Debian installs jars.
function(install_java target component)
    java_jars(jar ${target})
    cmake_path(GET jar STEM LAST_ONLY name)
    set(directory ${CMAKE_INSTALL_DATADIR}/java)
    install(FILES ${jar} DESTINATION ${directory} RENAME ${name}-${PROJECT_VERSION}.jar COMPONENT ${component})
    file(MAKE_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/links)
    file(CREATE_LINK ${name}-${PROJECT_VERSION}.jar ${CMAKE_CURRENT_BINARY_DIR}/links/${name}.jar SYMBOLIC)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/links/${name}.jar DESTINATION ${directory} COMPONENT ${component})
endfunction()
