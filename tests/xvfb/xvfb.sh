# Sourced: start_xvfb WIDTHxHEIGHT LOG starts an X server of the caller's own
# on a free display, exports DISPLAY once it is ready and leaves its process
# id in xvfb_pid (the caller kills it). Returns 1 when no server came up.
start_xvfb() {
    local size=$1 log=$2 fd display=""
    # -displayfd: the server takes a free display and says which once it is ready.
    exec {fd}<> <(:)
    Xvfb -displayfd "$fd" -screen 0 "${size}x24" -nolisten tcp >"$log" 2>&1 &
    xvfb_pid=$!
    read -r -t 20 -u "$fd" display || return 1
    exec {fd}>&-
    export DISPLAY=":$display"
}
