#ifndef SIMULATOR_STAND_INS_SYSTEM_INFO_H_
#define SIMULATOR_STAND_INS_SYSTEM_INFO_H_

#ifdef __cplusplus
extern "C" {
#endif

/* What the board has texts about. */
typedef enum {
  SYSTEM_INFO_MODEL_NAME = 0,
  SYSTEM_INFO_BOARD_REVISION = 1,
  SYSTEM_INFO_BUILD_IDENTIFIER = 2
} system_info_key_e;

/* Returns 0 and stores the board's text for `key` in `*value`; the caller releases it with free().
 * Returns another number and leaves `*value` alone when the board has none. */
int system_info_get_value_string(system_info_key_e key, char** value);

#ifdef __cplusplus
}
#endif

#endif /* SIMULATOR_STAND_INS_SYSTEM_INFO_H_ */
