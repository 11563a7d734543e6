// Marshaller of a made-up SDK: wider integers, flags as int, bytes that are not const, a base
// class.
#ifndef SDK_CNOLVWSM_H_
#define SDK_CNOLVWSM_H_

class CNolvBase {
 public:
  virtual ~CNolvBase() {}

 protected:
  char name[32] = {};
};

class CNolvWsm : public CNolvBase {
 public:
  CNolvWsm(void* sharedMemory, int version = 2);
  ~CNolvWsm() override;

  int PutInt(long value);
  int PutUint(unsigned long value);
  int PutBlob(unsigned char* bytes, unsigned long length);
  void PrepareReset(int mode);
  int GetInt(int* value);
  int GetUint(unsigned int* value);
  unsigned char* GetBlob(unsigned long length);

 private:
  unsigned long position;
  unsigned char* block;
  unsigned long size;
};

#endif  // SDK_CNOLVWSM_H_
