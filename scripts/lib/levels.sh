# Sourced, POSIX sh.

# without_levels_above LEVEL FOLDER: takes the stronger levels of x86-64 out of both libraries'
# sources in the folder. They then run as on a CPU that ends there. No LEVEL takes out none.
without_levels_above() {
    case $1 in
        sse4) stronger='avx2 avx512' ;;
        avx2) stronger=avx512 ;;
        *) stronger= ;;
    esac
    for level_to_drop in $stronger; do
        # The level's entry in the lists, which may go on in further lines until "},".
        sed -i "/{\"$level_to_drop\", /{:entry;/},\$/!{N;b entry;};d}" \
            "$2/src/levels/levels.cpp" "$2/frames/layouts/levels.cpp"
        sed -i "/set(levels plain/s/ $level_to_drop//" "$2/src/CMakeLists.txt"
    done
}
