// Names that a host may well have for things of its own: those of the library's inside. All are of one kind, which the
// including source says.
#if defined QUARN_TEST_HOST_CLASSES
#define QUARN_TEST_HOST_NAME(name) \
  class name {};
#elif defined QUARN_TEST_HOST_ENUMS
#define QUARN_TEST_HOST_NAME(name) enum name : int {};
#elif defined QUARN_TEST_HOST_ENUMERATORS
#define QUARN_TEST_HOST_NAME(name) enum { name };
#elif defined QUARN_TEST_HOST_NAMESPACES
#define QUARN_TEST_HOST_NAME(name) \
  namespace name {}
#elif defined QUARN_TEST_HOST_TYPES
#define QUARN_TEST_HOST_NAME(name) typedef int name;
#elif defined QUARN_TEST_HOST_TEMPLATES
#define QUARN_TEST_HOST_NAME(name) \
  template <class T>               \
  struct name {};
#elif defined QUARN_TEST_HOST_FUNCTIONS
#define QUARN_TEST_HOST_NAME(name) void name();
#elif defined QUARN_TEST_HOST_VARIABLES
#define QUARN_TEST_HOST_NAME(name) extern int name;
#else
#error "no kind"
#endif

QUARN_TEST_HOST_NAME(AbsMax)
QUARN_TEST_HOST_NAME(Align)
QUARN_TEST_HOST_NAME(AlignSize)
QUARN_TEST_HOST_NAME(AudioMixer)
QUARN_TEST_HOST_NAME(CheckGLError)
QUARN_TEST_HOST_NAME(CircleBuffer)
QUARN_TEST_HOST_NAME(DrawTarget)
QUARN_TEST_HOST_NAME(DrivenStage)
QUARN_TEST_HOST_NAME(Event)
QUARN_TEST_HOST_NAME(EventImpl)
QUARN_TEST_HOST_NAME(FairMutex)
QUARN_TEST_HOST_NAME(FrameClock)
QUARN_TEST_HOST_NAME(FrameGrid)
QUARN_TEST_HOST_NAME(FrameRate)
QUARN_TEST_HOST_NAME(FrameSpan)
QUARN_TEST_HOST_NAME(FrameTimes)
QUARN_TEST_HOST_NAME(GLObject)
QUARN_TEST_HOST_NAME(GlslSrcIndex)
QUARN_TEST_HOST_NAME(Logger)
QUARN_TEST_HOST_NAME(LevelMeter)
QUARN_TEST_HOST_NAME(MainQueue)
QUARN_TEST_HOST_NAME(MixGain)
QUARN_TEST_HOST_NAME(Mutex)
QUARN_TEST_HOST_NAME(MutexImpl)
QUARN_TEST_HOST_NAME(MutexLocker)
QUARN_TEST_HOST_NAME(NativeContext)
QUARN_TEST_HOST_NAME(RWMutex)
QUARN_TEST_HOST_NAME(ReadLocker)
QUARN_TEST_HOST_NAME(RecursiveFairMutex)
QUARN_TEST_HOST_NAME(Registry)
QUARN_TEST_HOST_NAME(ReturningLocker)
QUARN_TEST_HOST_NAME(Runable)
QUARN_TEST_HOST_NAME(ScopedBind)
QUARN_TEST_HOST_NAME(Semaphore)
QUARN_TEST_HOST_NAME(ShownScenes)
QUARN_TEST_HOST_NAME(Texture)
QUARN_TEST_HOST_NAME(Thread)
QUARN_TEST_HOST_NAME(ViewCounts)
QUARN_TEST_HOST_NAME(ViewImages)
QUARN_TEST_HOST_NAME(WaitPoint)
QUARN_TEST_HOST_NAME(WindowThread)
QUARN_TEST_HOST_NAME(Worker)
QUARN_TEST_HOST_NAME(WriteLocker)
QUARN_TEST_HOST_NAME(kGlslRgba)
QUARN_TEST_HOST_NAME(os)
