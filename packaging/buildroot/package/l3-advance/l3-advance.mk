################################################################################
#
# l3-advance
#
################################################################################

L3_ADVANCE_VERSION = 10.0.0
L3_ADVANCE_SITE = $(BR2_EXTERNAL_L3_ADVANCE_PATH)/../..
L3_ADVANCE_SITE_METHOD = local
L3_ADVANCE_LICENSE = ISC
L3_ADVANCE_LICENSE_FILES = LICENSE
L3_ADVANCE_INSTALL_STAGING = YES
# l3-transaction and l3ctl are packages of their own.
L3_ADVANCE_CONF_OPTS = -DL3_BUILD_PROGRAMS=OFF -DL3_BUILD_TRANSACTION=OFF -DL3_BUILD_TESTS=OFF

ifeq ($(BR2_TOOLCHAIN_USES_GLIBC),)
L3_ADVANCE_CONF_OPTS += -DL3_FORTIFY=OFF
endif

ifeq ($(BR2_mips),y)
L3_ADVANCE_CONF_OPTS += -DL3_PAGE_SIZE=4096 -DL3_RELRO=OFF
endif

$(eval $(cmake-package))
