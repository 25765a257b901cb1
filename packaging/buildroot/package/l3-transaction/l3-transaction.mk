################################################################################
#
# l3-transaction
#
################################################################################

L3_TRANSACTION_VERSION = 10.0.0
L3_TRANSACTION_SITE = $(BR2_EXTERNAL_L3_ADVANCE_PATH)/../..
L3_TRANSACTION_SITE_METHOD = local
L3_TRANSACTION_LICENSE = ISC
L3_TRANSACTION_LICENSE_FILES = LICENSE
L3_TRANSACTION_INSTALL_STAGING = YES
L3_TRANSACTION_DEPENDENCIES = l3-advance
L3_TRANSACTION_CONF_OPTS = -DCMAKE_BUILD_TYPE=MinSizeRel -DL3_BUILD_PROGRAMS=OFF -DL3_BUILD_TESTS=OFF

ifeq ($(BR2_TOOLCHAIN_USES_GLIBC),)
L3_TRANSACTION_CONF_OPTS += -DL3_FORTIFY=OFF
endif

ifeq ($(BR2_mips),y)
L3_TRANSACTION_CONF_OPTS += -DL3_PAGE_SIZE=4096 -DL3_RELRO=OFF
endif

# The library itself is l3-advance's.
define L3_TRANSACTION_INSTALL_TARGET_CMDS
	DESTDIR=$(TARGET_DIR) $(HOST_DIR)/bin/cmake --install $(L3_TRANSACTION_BUILDDIR) --component transaction
endef

$(eval $(cmake-package))
