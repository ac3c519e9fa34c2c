# What the Windows build needs beside the packages of the native one.

windows_build_packages=(
    "${run_packages[@]}"
    ccache                       # compiles only what changed
    dpkg-dev                     # unpacks Debian's Qt source package
    g++-mingw-w64-x86-64-posix   # the cross compiler; only this flavour has std::thread
    make                         # Qt's own build
    perl                         # Qt's header generator
    xz-utils                     # the source package's compression
)

windows_test_packages=(
    "${windows_build_packages[@]}"
    curl                         # a Linux client for the host that runs under Wine
    python3                      # the system tests' clients
    wine64                       # runs the Windows programs; the 32-bit half is not needed
)

windows_package_packages=(
    "${windows_test_packages[@]}"
    zip
    unzip
)
