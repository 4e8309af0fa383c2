# Runs inside a clean system: /debs holds the packages, /use what to use them with.
set -eu
export DEBIAN_FRONTEND=noninteractive

apt() {
    apt-get -y -q --no-install-recommends "$@" >/use/apt.log 2>&1 || {
        cat /use/apt.log >&2
        exit 1
    }
}

# All files but what apt and dpkg keep for themselves, and logs.
list_files() {
    find / -xdev \( -path /proc -o -path /sys -o -path /dev -o -path /use -o -path /tmp \
        -o -path /var/lib/apt -o -path /var/lib/dpkg -o -path /var/cache -o -path /var/log \) \
        -prune -o -print | sort
}

apt update
apt install gcc g++ libc6-dev pkg-config cmake make
list_files >/use/before

echo "Installing"
apt install /debs/*.deb
echo "Using the command"
for frame in /use/samples/*_Mono12Packed.raw; do
    size=${frame%_*}
    imgcnv convert "$frame" --format Mono12Packed --size "${size##*_}" -o /use/picture.png
done
[ "$(head -c 4 /use/picture.png | tail -c 3)" = PNG ]
echo "Using the library"
# shellcheck disable=SC2046 # flags are words
gcc -std=c99 /use/consumer/consumer.c $(pkg-config --cflags --libs imgcnv) -o /use/consumer_c
/use/consumer_c
cmake -S /use/consumer/find_package -B /use/build >/use/cmake.log
cmake --build /use/build >>/use/cmake.log
(cd /use/build && ctest --output-on-failure --no-tests=error | tail -n 3)

echo "Purging"
apt purge --autoremove libimgcnv1 libimgcnv-dev imgcnv-tools
list_files >/use/after
if ! diff /use/before /use/after; then
    echo "the packages left these files behind (>) or took those away (<)" >&2
    exit 1
fi
