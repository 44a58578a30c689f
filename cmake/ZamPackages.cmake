# Debian packages, as Debian has them: `scripts/package` makes, checks and tries them.
#
#   libzam0.1    the shared library and its texts; versions with another binary interface may stand beside it
#   libzam-dev   headers, the name that programs link, package files, the compiler of texts
#   libzam-doc   guide, formats and the pages of the public interface
#   zam-tools    the example as a program of its own, with its page of the manual and its completion
set(docFolder "${CMAKE_INSTALL_DATAROOTDIR}/doc")
set(packaging "${PROJECT_SOURCE_DIR}/packaging")
set(made "${CMAKE_CURRENT_BINARY_DIR}/packaging")  # by scripts/package
get_target_property(ZAM_SOVERSION zam SOVERSION)

install(FILES "${PROJECT_SOURCE_DIR}/README.md" "${PROJECT_SOURCE_DIR}/docs/guide.md" "${PROJECT_SOURCE_DIR}/docs/formats.md"
              "${PROJECT_SOURCE_DIR}/docs/architecture.md" "${PROJECT_SOURCE_DIR}/docs/errors.md"
  DESTINATION "${docFolder}/libzam-doc" COMPONENT documentation)
install(DIRECTORY "${CMAKE_CURRENT_BINARY_DIR}/docs/api/html" DESTINATION "${docFolder}/libzam-doc"
  COMPONENT documentation OPTIONAL)
install(FILES "${made}/zam_compile_texts.1.gz" DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" COMPONENT development OPTIONAL)
if(TARGET classify_corpus)
  install(TARGETS classify_corpus RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT tools)
  install(FILES "${made}/classify_corpus.1.gz" "${made}/classify_corpus-learn.1.gz"
                "${made}/classify_corpus-apply.1.gz" DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" COMPONENT tools OPTIONAL)
  install(FILES "${packaging}/classify_corpus.bash" RENAME classify_corpus
    DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/bash-completion/completions" COMPONENT tools)
endif()

# What Debian's policy asks of every package.
set(packages runtime libzam${ZAM_SOVERSION} development libzam-dev documentation libzam-doc tools zam-tools)
while(packages)
  list(POP_FRONT packages component package)
  install(FILES "${made}/changelog.gz" "${made}/changelog.Debian.gz" "${packaging}/copyright"
    DESTINATION "${docFolder}/${package}" COMPONENT ${component} OPTIONAL)
endwhile()

set(CPACK_GENERATOR DEB)
set(CPACK_COMPONENTS_ALL runtime development documentation tools)
set(CPACK_PACKAGE_NAME zam)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "zam")
set(CPACK_PACKAGE_CONTACT "zam maintainers <maintainers@zam.example>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}")
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS OFF)  # both come from scripts/package
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libzam${ZAM_SOVERSION})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "classification and extraction of documents: shared library
Documents and classes as trees of nodes with tagged representations,
classifiers and principal components over them, statistics on how well a
classification went, text in many alphabets as word symbols, and XML as tree,
events and stream.

This package holds the library and its texts in seven languages.")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA
  "${packaging}/triggers;${made}/symbols;${made}/shlibs")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libzam-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libzam${ZAM_SOVERSION} (= ${PROJECT_VERSION}-1)")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS libzam-doc)
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "classification and extraction of documents: development files
What programs need that build on libzam: headers, package files for CMake and
pkg-config, and the tool that makes satellites of a program's own texts.
Programs need a compiler for C++20.")

set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_NAME libzam-doc)
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_SECTION doc)
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_DOCUMENTATION_DESCRIPTION "classification and extraction of documents: documentation
The guide, the stored forms byte by byte, the architecture, all failures, and
the public interface of libzam as pages.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME zam-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION text)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "libzam${ZAM_SOVERSION} (= ${PROJECT_VERSION}-1)")
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "classification of texts by their content
classify_corpus learns the classes of a folder of texts, one folder a class,
classifies others, and reports how well it went as text and as a page.")
include(CPack)
