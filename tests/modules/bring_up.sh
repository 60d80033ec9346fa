#!/bin/sh
# bring_up.sh MODULE COMMAND...
# Starts a real module, without a display and without hardware, runs a command on it, and stops everything. The command
# has in its environment: PKCS11_MODULE; TOKEN, its token's label; PIN, empty where no login is needed; SO_PIN, where the
# token must still be initialised. Ends with 77 and a message where something is not installed.
#
# Everything runs in namespaces of its own: state files are in memory below /run, ports do not collide, and when this shell
# ends the system ends every process that was started here.
set -eu
module=$1
case ${BROUGHT_UP:-} in
'')
    as_root=
    [ "$(id -u)" = 0 ] || as_root=--map-root-user
    # shellcheck disable=SC2086 # an empty one is no argument
    set -- unshare $as_root --mount --net --ipc --pid --fork --kill-child --mount-proc env BROUGHT_UP=yes sh "$0" "$@"
    "$1" ${as_root:+"$as_root"} --mount --net --ipc --pid --fork true 2>/dev/null || {
        echo "module $module is left out: there is no leave for namespaces"
        exit 77
    }
    exec "$@"
    ;;
esac
shift
here=$(cd "$(dirname "$0")" && pwd)
start=$PWD
for place in /run /dev/shm; do
    mount -t tmpfs -o mode=1777 none $place
done
cd /run
libraries=/usr/lib/$(uname -m)-linux-gnu
export PIN=123456 TOKEN=token SO_PIN=

# need FILE... - skips the module if a file is missing.
need() {
    for file in "$@"; do
        [ -e "$file" ] || {
            echo "module $module is left out: $file is not installed (./dev modules installs it)"
            exit 77
        }
    done
}

# ports - enables local ports.
ports() {
    need /bin/ip
    ip link set lo up
}

# daemon COMMAND... - in a session of its own, so that an interrupt from a terminal does not reach it.
daemon() {
    setsid "$@" >"$1.log" 2>&1 &
}

# until_true COMMAND... - waits for half a minute at most.
until_true() {
    tries=0
    until "$@" >/dev/null 2>&1; do
        tries=$((tries + 1))
        [ $tries -lt 300 ] || {
            echo "module $module does not come up: $*" >&2
            cat ./*.log >&2
            exit 1
        }
        sleep 0.1
    done
}

softhsm2() {
    PKCS11_MODULE=/usr/lib/softhsm/libsofthsm2.so SO_PIN=12345678
    need $PKCS11_MODULE
    mkdir tokens
    printf '%s\n' 'directories.tokendir = /run/tokens' 'objectstore.backend = file' 'log.level = ERROR' \
        'slots.removable = true' >softhsm2.conf
    export SOFTHSM2_CONF=/run/softhsm2.conf
}

# proxy NAME LINE... - p11-kit's proxy module, with a module configured by the lines.
proxy() {
    need "$libraries/p11-kit-proxy.so" /usr/share/p11-kit/modules
    mkdir -p modules
    mountpoint -q /usr/share/p11-kit/modules || mount --bind modules /usr/share/p11-kit/modules
    name=$1
    shift
    printf '%s\n' "$@" >"modules/$name.module"
    PKCS11_MODULE=$libraries/p11-kit-proxy.so
}

# card KIND - an emulated reader with an emulated card in it.
card() {
    need /usr/sbin/pcscd /usr/lib/pcsc/drivers/serial/libifdvpcd.so /usr/lib/python3/dist-packages/cryptography
    ports
    mkdir pcscd readers
    printf '%s\n' 'FRIENDLYNAME "Yubico YubiKey emulated"' 'DEVICENAME /dev/null:0x8C7B' \
        'LIBPATH /usr/lib/pcsc/drivers/serial/libifdvpcd.so' 'CHANNELID 0x8C7B' >readers/vpcd
    daemon pcscd --foreground --config /run/readers
    until_true test -S pcscd/pcscd.comm
    daemon python3 "$here/card.py" "$1" 35963 "$PIN"
    export CARD=$! # SIGUSR1 removes it, SIGUSR2 inserts it
    until_true grep -q ATR python3.log
}

case $module in
softhsm2) softhsm2 ;;
nss)
    export MODULE="$libraries/libsoftokn3.so"
    need "$MODULE" /usr/bin/certutil
    mkdir db
    echo "$PIN" >pin
    certutil -N -d sql:/run/db -f pin
    reserved="configdir='sql:/run/db' certPrefix='' keyPrefix='' secmod='secmod.db'"
    proxy nss "module: $MODULE" \
        "x-init-reserved: $reserved dbTokenDescription='token' FIPSTokenDescription='token'"
    ;;
tpm2)
    PKCS11_MODULE=$libraries/pkcs11/libtpm2_pkcs11.so SO_PIN=12345678
    need "$PKCS11_MODULE" /usr/bin/swtpm /usr/sbin/tpm2-abrmd "$libraries/libtss2-tcti-tabrmd.so.0" /usr/bin/dbus-daemon
    ports
    mkdir tpm store
    daemon swtpm socket --tpm2 --tpmstate dir=tpm --flags not-need-init,startup-clear \
        --server type=tcp,port=2321,bindaddr=127.0.0.1 --ctrl type=tcp,port=2322,bindaddr=127.0.0.1
    daemon dbus-daemon --session --nofork --address=unix:path=/run/bus
    until_true test -S bus
    export DBUS_SESSION_BUS_ADDRESS=unix:path=/run/bus
    daemon tpm2-abrmd --session --allow-root --tcti=swtpm:host=127.0.0.1,port=2321
    until_true dbus-send --session --print-reply --dest=com.intel.tss2.Tabrmd / org.freedesktop.DBus.Peer.Ping
    export TPM2_PKCS11_TCTI=tabrmd:bus_type=session TPM2_PKCS11_STORE=/run/store TPM2_PKCS11_LOG_LEVEL=0
    ;;
opensc | ykcs11 | cackey | coolkey)
    case $module in
    opensc) PKCS11_MODULE=$libraries/opensc-pkcs11.so TOKEN='PIV Authentication' ;;
    ykcs11) PKCS11_MODULE=$libraries/libykcs11.so.2 TOKEN='YubiKey PIV #12345678' ;;
    cackey) PKCS11_MODULE=/usr/lib/pkcs11/libcackey.so TOKEN='PIV Authentication' ;;
    coolkey) PKCS11_MODULE=/usr/lib/pkcs11/libcoolkeypk11.so TOKEN='CAC ID' ;;
    esac
    need "$PKCS11_MODULE"
    echo 'app default { card_drivers = PIV-II; framework pkcs15 { use_file_caching = no; } }' >opensc.conf
    export OPENSC_CONF=/run/opensc.conf
    [ $module = coolkey ] && card CAC || card PIV
    ;;
opencryptoki)
    PKCS11_MODULE=$libraries/opencryptoki/libopencryptoki.so.0 SO_PIN=87654321
    need "$PKCS11_MODULE" /usr/sbin/pkcsslotd
    [ -r /var/lib/opencryptoki ] || {
        echo "module $module is left out: it is for root and the group pkcs11"
        exit 77
    }
    mkdir lock
    cp -a /var/lib/opencryptoki state
    mount --bind state /var/lib/opencryptoki
    daemon pkcsslotd -f
    until_true test -S pkcsslotd.socket
    ;;
p11-kit-client)
    softhsm2
    need "$libraries/pkcs11/p11-kit-client.so"
    daemon p11-kit server --foreground --name /run/socket --provider "$PKCS11_MODULE" pkcs11:
    until_true test -S socket
    export P11_KIT_SERVER_ADDRESS=unix:path=/run/socket
    PKCS11_MODULE=$libraries/pkcs11/p11-kit-client.so
    ;;
p11-kit-proxy)
    softhsm2
    need "$libraries/pkcs11/p11-kit-trust.so"
    proxy softhsm2 "module: $PKCS11_MODULE"
    proxy trust "module: p11-kit-trust.so"
    ;;
p11-kit-trust) PKCS11_MODULE=$libraries/pkcs11/p11-kit-trust.so PIN='' TOKEN='System Trust' ;;
nssckbi) PKCS11_MODULE=$libraries/libnssckbi.so PIN='' TOKEN='Builtin Object Token' ;;
spy)
    softhsm2
    export PKCS11SPY="$PKCS11_MODULE" PKCS11SPY_OUTPUT=/run/spy.log
    PKCS11_MODULE=$libraries/pkcs11-spy.so
    ;;
*)
    echo "bring_up.sh: there is no module $module" >&2
    exit 2
    ;;
esac
need "$PKCS11_MODULE"
export PKCS11_MODULE
cd "$start"
"$@"
