# Copy this to recipes-connectivity/ftp-clientd/ of your layer and add to your local.conf or distribution:
#
#   EXTERNALSRC:pn-ftp-clientd = "/path/to/this/source"
#   PACKAGECONFIG:append:pn-curl = " libssh2"      # SFTP; OpenSSL, proxies and the threaded resolver are on by default
#   IMAGE_INSTALL:append = " ftp-clientd"
#
# It needs Kirkstone (4.0) or newer. A device's own libsecure.so and libzixiFeeder.so replace the two in
# /usr/lib/ftp_clientd: install them there from a recipe of yours, and delete these with a do_install:append().
SUMMARY = "File-transfer client daemon"
DESCRIPTION = "Downloads, uploads and looks up files over FTP, FTPS and SFTP for the programs of a device."
LICENSE = "MIT"
LIC_FILES_CHKSUM = "file://LICENSE;md5=45438a2eb4afeb3a63106ea40b3541d9"

inherit cmake pkgconfig externalsrc systemd useradd

DEPENDS = "curl openssl"

# tools: ftpctl, which needs libstdc++ on the device. spool: ftpspool, the queue of uploads; it needs tools.
PACKAGECONFIG ??= "tools"
PACKAGECONFIG[tools] = "-DFTP_CLIENTD_TOOLS=ON,-DFTP_CLIENTD_TOOLS=OFF,cli11 nlohmann-json"
PACKAGECONFIG[spool] = "-DFTP_CLIENTD_SPOOL=ON,-DFTP_CLIENTD_SPOOL=OFF,sqlite3"
EXTRA_OECMAKE = "-DBUILD_TESTING=OFF -DFTP_CLIENTD_REDACT_PASSWORDS=ON"

# The units go to /usr/lib, wherever this distribution has them.
do_install:append() {
    if [ "${nonarch_base_libdir}" != "${nonarch_libdir}" ]; then
        install -d ${D}${nonarch_base_libdir}
        mv ${D}${nonarch_libdir}/systemd ${D}${nonarch_base_libdir}/
    fi
}

PACKAGES =+ "${PN}-spool ${PN}-tools libftpclient"
FILES:${PN} += "${nonarch_libdir}/ftp_clientd ${nonarch_libdir}/sysusers.d"
FILES:${PN}-tools = "${bindir}/ftpctl ${datadir}/bash-completion/completions/ftpctl ${datadir}/zsh/vendor-completions/_ftpctl"
FILES:${PN}-spool = "${bindir}/ftpspool ${datadir}/bash-completion/completions/ftpspool ${datadir}/zsh/vendor-completions/_ftpspool ${systemd_system_unitdir}/ftpspool.service"
FILES:libftpclient = "${libdir}/libftpclient.so.*"
FILES:${PN}-dev += "${libdir}/cmake"

# The programs of this group may use the daemon.
USERADD_PACKAGES = "${PN}"
GROUPADD_PARAM:${PN} = "--system ftpclient"

SYSTEMD_PACKAGES = "${PN} ${@bb.utils.contains('PACKAGECONFIG', 'spool', '${PN}-spool', '', d)}"
SYSTEMD_SERVICE:${PN} = "ftp_clientd.service"
SYSTEMD_SERVICE:${PN}-spool = "ftpspool.service"

# The two libraries of the device are opened by their plain names and have no version.
INSANE_SKIP:${PN} = "libdir"
