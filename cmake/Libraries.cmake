# Third-party libraries, by the names the rooms link. The README says why each is here.
find_package(Threads REQUIRED)
find_package(fmt REQUIRED)
find_package(nlohmann_json REQUIRED)
find_package(CLI11 REQUIRED)
find_package(PkgConfig REQUIRED)
pkg_check_modules(plist REQUIRED IMPORTED_TARGET libplist-2.0)
pkg_check_modules(utf8proc REQUIRED IMPORTED_TARGET libutf8proc)
