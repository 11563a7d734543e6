#ifndef SIMULATOR_STAND_INS_VCONF_H_
#define SIMULATOR_STAND_INS_VCONF_H_

#ifdef __cplusplus
extern "C" {
#endif

/* Returns the text that the board keeps under `key`, or null. The caller releases it with free().
 */
char* vconf_get_str(const char* key);

#ifdef __cplusplus
}
#endif

#endif /* SIMULATOR_STAND_INS_VCONF_H_ */
