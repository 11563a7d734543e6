/* System information of a made-up SDK. */
#ifndef SDK_SYSTEM_INFO_H_
#define SDK_SYSTEM_INFO_H_

typedef enum { SYSTEM_INFO_SCREEN_WIDTH = 4, SYSTEM_INFO_MODEL_NAME = 17 } system_info_key_e;

#ifdef __cplusplus
extern "C" {
#endif
int system_info_get_value_string(system_info_key_e key, char** value);
#ifdef __cplusplus
}
#endif

#endif /* SDK_SYSTEM_INFO_H_ */
