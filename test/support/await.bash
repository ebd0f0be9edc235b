# await CONDITION...: until the command succeeds; false if it doesn't within 20 seconds.
await() {
    local deadline=$((SECONDS + 20))
    until "$@"; do
        [ $SECONDS -lt $deadline ] || return 1
        sleep 0.05
    done
}
