################################################################################
#
# l3-console
#
################################################################################

L3_CONSOLE_VERSION = 10.0.0
L3_CONSOLE_SITE = $(BR2_EXTERNAL_L3_ADVANCE_PATH)/../..
L3_CONSOLE_SITE_METHOD = local
L3_CONSOLE_LICENSE = ISC
L3_CONSOLE_LICENSE_FILES = LICENSE
L3_CONSOLE_DEPENDENCIES = host-pkgconf gnutls json-for-modern-cpp l3ctl libmicrohttpd libseccomp libxcrypt
L3_CONSOLE_CONF_OPTS = -DCMAKE_BUILD_TYPE=MinSizeRel -DL3_BUILD_CONSOLE=ON -DL3_BUILD_L3CTL=OFF \
	-DL3_BUILD_TRANSACTION=OFF -DL3_BUILD_TESTS=OFF

ifeq ($(BR2_TOOLCHAIN_USES_GLIBC),)
L3_CONSOLE_CONF_OPTS += -DL3_FORTIFY=OFF
endif

ifeq ($(BR2_mips),y)
L3_CONSOLE_CONF_OPTS += -DL3_PAGE_SIZE=4096 -DL3_RELRO=OFF
endif

# The library itself is l3-advance's.
define L3_CONSOLE_INSTALL_TARGET_CMDS
	DESTDIR=$(TARGET_DIR) $(HOST_DIR)/bin/cmake --install $(L3_CONSOLE_BUILDDIR) --component console
endef

$(eval $(cmake-package))
