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
apt install gcc g++ libc6-dev pkg-config cmake make gstreamer1.0-tools iproute2
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
use_libraries() {
    for pair in imgcnv:consumer imgcnv-frames:frames; do
        flags=$(pkg-config --cflags --libs "${pair%:*}")
        case $flags in *-I* | *-L*) echo "pkg-config names system folders: $flags" >&2 && exit 1 ;; esac
        # shellcheck disable=SC2086 # flags are words
        gcc -std=c99 "/use/consumer/${pair#*:}.c" $flags -o /use/consumer_c
        /use/consumer_c
    done
    rm -rf /use/build
    cmake -S /use/consumer/find_package -B /use/build >/use/cmake.log
    cmake --build /use/build >>/use/cmake.log
    (cd /use/build && ctest --output-on-failure --no-tests=error | tail -n 3)
}
use_libraries
echo "Using the Python module"
python3 -c "
import imgcnv
assert imgcnv.__version__ == '$(dpkg-query -W -f '${source:Upstream-Version}' python3-imgcnv)', imgcnv.__version__
print(imgcnv.convert(b'\\x80\\x10\\x80\\x20', 2, 1, 'uyvy').tolist())"

coffee=/use/samples/coffee_600x400_BayerRG12Packed.raw
echo "Using the GStreamer element"
GST_REGISTRY=/use/registry gst-launch-1.0 -q filesrc location=$coffee blocksize=360000 \
    ! video/x-pfnc,format=BayerRG12Packed,width=600,height=400 ! imgcnv ! video/x-raw,format=RGB \
    ! filesink location=/use/by_element
imgcnv convert $coffee --output-format raw -o - | cmp - /use/by_element

echo "Using a camera"
# Seen by nobody else: a network of its own, with a loopback device.
unshare --net sh -euc '
    ip link set lo up
    imgcnv-fakecam "$1" -f BayerRG12Packed -s 600x400 --loop >/use/camera.log &
    camera=$!
    trap "kill $camera" EXIT
    until grep -q 127.0.0.1 /use/camera.log; do kill -0 $camera && sleep 0.1; done
    imgcnv-live 127.0.0.1 --frames 3 --record /use/live.raw' sh $coffee
for frame in 0 1 2; do cmp -i $((frame * 360000)):0 -n 360000 /use/live_*.raw $coffee; done

if dpkg-query -W imgcnv-web 2>/dev/null; then
    echo "Opening the browser page"
    head -n 1 /usr/share/imgcnv/viewer.html | grep '^<!doctype html>'
    # Stands in for a desktop.
    mkdir /use/desktop
    printf '#!/bin/sh\ncp "$1" /use/opened.html\n' >/use/desktop/xdg-open
    chmod +x /use/desktop/xdg-open
    PATH=/use/desktop:$PATH XDG_CACHE_HOME=/use imgcnv view $coffee
    grep -q 'file:///usr/share/imgcnv/viewer.html#file=coffee.*format=BayerRG12Packed' /use/opened.html
fi

echo "Upgrading each library alone"
for library in libimgcnv libimgcnv_frames; do
    package=$(dpkg-query -S "/usr/lib/*/$library.so.1" | cut -d: -f1)
    dpkg-deb -R /debs/"$package"_*.deb /use/newer
    sed -i 's/^Version: .*/Version: 1.999.0-1/' /use/newer/DEBIAN/control
    for file in /use/newer/usr/lib/*/"$library".so.1.*; do
        mv "$file" "${file%.so.*}.so.1.999.0"
        ln -sf "$library.so.1.999.0" "${file%.so.*}.so.1"
    done
    sed -i '\|/usr/lib/|d' /use/newer/DEBIAN/md5sums
    rm -rf /use/newer/usr/share/doc # shared with packages of the same version
    dpkg-deb -b /use/newer "/use/$package.deb" >/dev/null
    rm -rf /use/newer
    apt install "/use/$package.deb"
done
dpkg-query -W -f '${Package} ${Version} ${db:Status-Status}\n' '*imgcnv*'
for package in libimgcnv-dev python3-imgcnv imgcnv-tools imgcnv-live gstreamer1.0-imgcnv; do
    [ "$(dpkg-query -W -f '${db:Status-Status}' $package)" = installed ]
done
use_libraries

echo "Purging"
installed=$(for deb in /debs/*.deb; do dpkg-deb -f "$deb" Package; done)
# What a package of the system merely suggests, as iproute2 does Python, would stay.
# shellcheck disable=SC2086 # a list of words
apt purge --autoremove -o APT::AutoRemove::SuggestsImportant=false $installed
list_files >/use/after
if ! diff /use/before /use/after; then
    echo "the packages left these files behind (>) or took those away (<)" >&2
    exit 1
fi
