################################################################################
#
# ftp-clientd
#
################################################################################

FTP_CLIENTD_SITE = $(call qstrip,$(BR2_PACKAGE_FTP_CLIENTD_SOURCE))
FTP_CLIENTD_SITE_METHOD = local
FTP_CLIENTD_LICENSE = MIT
FTP_CLIENTD_LICENSE_FILES = LICENSE
FTP_CLIENTD_INSTALL_STAGING = YES # libftpclient and wire/, for the programs that use the daemon
FTP_CLIENTD_DEPENDENCIES = libcurl libssh2 openssl
FTP_CLIENTD_CONF_OPTS = -DBUILD_TESTING=OFF -DFTP_CLIENTD_REDACT_PASSWORDS=ON

ifeq ($(BR2_PACKAGE_FTP_CLIENTD_TOOLS),y)
FTP_CLIENTD_DEPENDENCIES += cli11 json-for-modern-cpp
FTP_CLIENTD_CONF_OPTS += -DFTP_CLIENTD_TOOLS=ON
else
FTP_CLIENTD_CONF_OPTS += -DFTP_CLIENTD_TOOLS=OFF
endif

ifeq ($(BR2_PACKAGE_FTP_CLIENTD_SPOOL),y)
FTP_CLIENTD_DEPENDENCIES += sqlite
FTP_CLIENTD_CONF_OPTS += -DFTP_CLIENTD_SPOOL=ON
else
FTP_CLIENTD_CONF_OPTS += -DFTP_CLIENTD_SPOOL=OFF
endif

# The group whose programs may use the daemon.
define FTP_CLIENTD_USERS
	- -1 ftpclient -1 - - - - -
endef

# With systemd, the unit that the build installs is used.
define FTP_CLIENTD_INSTALL_INIT_SYSV
	$(INSTALL) -D -m 755 $(FTP_CLIENTD_PKGDIR)/S80ftp_clientd $(TARGET_DIR)/etc/init.d/S80ftp_clientd
endef

$(eval $(cmake-package))
