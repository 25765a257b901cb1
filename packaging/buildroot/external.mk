include $(sort $(wildcard $(BR2_EXTERNAL_L3_ADVANCE_PATH)/package/*/*.mk))
