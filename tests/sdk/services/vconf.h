/* Settings store of a made-up SDK. */
#ifndef SDK_VCONF_H_
#define SDK_VCONF_H_

#ifdef __cplusplus
extern "C" {
#endif
char* vconf_get_str(const char* in_key);
#ifdef __cplusplus
}
#endif

#endif /* SDK_VCONF_H_ */
