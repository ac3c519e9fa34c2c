# Which Debian packages are needed, and what for. Each list takes in the one before it.

run_packages=(
    g++               # compiles everything
    cmake             # configures
    ninja-build       # builds; the presets name it
    qtbase5-dev       # Qt 5 Core, all that the module links; Test comes with it
    libboost1.81-dev  # the host's HTTP; Debian's default 1.74 lacks parts of Beast
    librabbitmq-dev   # the host's way to a RabbitMQ broker
)

test_packages=(
    "${run_packages[@]}"
    amqp-tools        # publishes requests and reads replies in the broker tests
    binutils          # nm and readelf show what the plug-in exports and links
    ccache            # compiles only what changed, across build directories too
    curl              # the first session of the README is run as written
    nodejs            # runs amqplib, another client of the broker tests
    pkg-config        # the installed headers are also found through it
    python3           # the system tests' clients
    rabbitmq-server   # the broker of the broker tests, which start their own
)
# Fetches amqplib. Not from Debian where a Node.js of another origin brings its own.
command -v npm >/dev/null || test_packages+=(npm)

ci_packages=(
    "${test_packages[@]}"
    clang             # a second compiler's warnings
    clang-format      # the formatting check
    clang-tidy        # the linter
    libbenchmark-dev  # the second compiler builds the benchmarks too
    git               # tells which files are the project's
)
