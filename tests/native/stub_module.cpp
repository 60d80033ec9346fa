// A Cryptoki module that is nothing but a function list of version 2.20: the test program fills it in. 552 bytes hold
// the list of either layout. One of version 0 is not handed out.
#ifdef _WIN32
#define EXPORT extern "C" __declspec(dllexport)
#else
#define EXPORT extern "C"
#endif

static unsigned char functionList[552] = {2, 20};

EXPORT unsigned long C_GetFunctionList(void** list)
{
    *list = functionList;
    return functionList[0] != 0 ? 0 : 5; // CKR_GENERAL_ERROR
}
