// Every native method, straight through the library's exports.

#include "native_calls.h"

namespace {

struct Method
{
    std::string name;
    std::string expected;
    std::function<std::string()> call;
};

// The arguments of a plain call, by their letters.
struct PlainArguments
{
    std::string method;

    jint attribute() const
    {
        static const std::pair<const char*, CK_ATTRIBUTE_TYPE> kinds[] = {
            {"Bool", CKA_TOKEN}, {"Big", CKA_MODULUS},     {"Int", CKA_CLASS},
            {"Byte", CKA_ID},    {"Date", CKA_START_DATE}, {"String", CKA_LABEL}};
        for (const auto& [kind, type] : kinds)
            if (method.find(kind) != std::string::npos)
                return static_cast<jint>(type);
        return CKA_LABEL;
    }

    jint number(char letter) const
    {
        switch (letter) {
        case 'm': return CKM_AES_CBC;
        case 't': return attribute();
        case 'f': return 1;
        case 'n': return 2;
        case 'N': return 7;
        case 'z': return JNI_TRUE;
        default: return kNegative;
        }
    }

    Ref object(char letter) const
    {
        switch (letter) {
        case 'p': return newBytes("\1\2");
        case 'v': return newString("key");
        case 'T':
            return newInts({CKA_CLASS, method == "getAttributeValues" ? jint{CKA_VALUE_LEN} : -1, CKA_TOKEN, CKA_LABEL,
                            CKA_ID, CKA_MODULUS, CKA_START_DATE});
        case 'V':
            return newObjects({integer(kNegative),
                               {},
                               make("java/lang/Boolean", {{"booleanValue:()Z", 1}}),
                               newString("key"),
                               newBytes("\1\2"),
                               bigInteger({"\0\x80", 2}),
                               date(0)});
        case 'k': return key;
        case 's': return session;
        case 'L': return library;
        case 'o': return newString("12");
        case 'b': return newBytes("\1\2\3");
        case 'd': return newBuffer("\1\2\3");
        case 'w': return out;
        case 'D': return outBuffer;
        default: return {};
        }
    }

    template <typename T>
    T next(char letter) const
    {
        if constexpr (std::is_pointer_v<T>)
            return object(letter);
        else
            return static_cast<T>(number(letter));
    }
};

template <typename Receiver, typename Result, typename... Parameters, std::size_t... index>
std::string callPlainly(const char* name, const char* letters, Ref receiver,
                        Result (*function)(JNIEnv*, Receiver, Parameters...), std::index_sequence<index...>)
{
    PlainArguments arguments = {name};
    return callOn(receiver, function, arguments.next<Parameters>(letters[index])...);
}

// In what is expected $T is the template of all kinds, $5 the CK_ULONG 0x80000005 and $U the size of one.
template <typename Receiver, typename Result, typename... Parameters>
Method method(const char* name, const char* letters, std::string expected, Ref receiver,
              Result (*function)(JNIEnv*, Receiver, Parameters...))
{
    const std::string attributes = entry(CKA_CLASS, ulongBytes(0x80000005)) + entry(CKA_TOKEN, "\1") +
                                   entry(CKA_LABEL, "key") + entry(CKA_ID, "\1\2") + entry(CKA_MODULUS, "\x80") +
                                   entry(CKA_START_DATE, "19700101");
    replace(&expected, " $T", attributes);
    replace(&expected, "'$5'", "'" + hex(ulongBytes(0x80000005)) + "'");
    replace(&expected, "$U", std::to_string(sizeof(CK_ULONG)));
    return {name, expected,
            [=] { return callPlainly(name, letters, receiver, function, std::index_sequence_for<Parameters...>()); }};
}

std::vector<Method> everyMethod()
{
    return {
#define METHOD(receiver, name, letters, expected) method(#name, letters, expected, receiver(name)),
        NATIVE_METHODS(METHOD)};
}

std::string firstCall(const std::string& expected)
{
    return expected.substr(0, std::min(expected.find("; "), expected.find(" -> ")));
}

bool leavesTypesPinned(const Method& method) { return method.name == "getAttributeValues"; }

// With each JNI call of the method failing in turn: nothing leaks or is lost, and no call is made that must not be.
void checkFailures(const Method& method)
{
    fake.failsWithError = !fake.failsWithError;
    for (fake.failing = 1; fake.calls + 1 >= fake.failing; ++fake.failing) {
        std::string found = outcome(method.call);
        bool isClean = fake.complaints.empty() || (leavesTypesPinned(method) && fake.complaints == " pins=1");
        check("", isClean ? "" : method.name + found + " when call " + std::to_string(fake.failing) + " fails");
    }
    fake.failing = 0;
}

void checkRefusal(const Method& method)
{
    const std::string found = outcome(method.call);
    const std::string first = firstCall(method.expected);
    bool isRefused = found.find(first + " -> ") == 0 && found.find(raised(CKR_DEVICE_ERROR)) != std::string::npos &&
                     fake.complaints.empty();
    check(first + " alone", isRefused || first.empty() || leavesTypesPinned(method) ? first + " alone" : found);
}

} // namespace

// Plain calls, and with each JNI call failing; then with a module that cannot lock, which must be called with the
// monitor held and which wipes its arguments; and with one that refuses every call, after which it must not be called
// again.
void testEveryMethod()
{
    token.attributes = {{CKA_TOKEN, "\1"},
                        {CKA_CLASS, ulongBytes(0x80000005)},
                        {CKA_LABEL, "key "},
                        {CKA_ID, "\1\2"},
                        {CKA_START_DATE, "20240229"},
                        {CKA_MODULUS, "\xFF\1"},
                        {CKA_VALUE_LEN, ulongBytes(16)}};
    token.answer = "ab";
    for (bool canLock : {true, false}) {
        token.canLock = canLock;
        token.spoils = !canLock;
        token.monitor = 1;
        checkCall(std::string("C_Initialize flags=2") + (canLock ? "" : "; C_Initialize null") + " -> ",
                  CALL(LIBRARY(libInitialize)));
        token.monitor = canLock ? 0 : 1;
        for (const Method& each : everyMethod()) {
            if (each.name.find("lib") == 0)
                continue;
            checkFailures(each);
            std::string found = outcome(each.call);
            check(each.name + ": " + each.expected, each.name + ": " + found);
            token.rv = CKR_DEVICE_ERROR;
            checkRefusal(each);
            token.rv = CKR_OK;
        }
        token.monitor = 1;
        checkCall("C_Finalize -> ", CALL(LIBRARY(libFinalize)));
        checkCall(" ->  PKCS11Exception('functionList is null')", CALL(SESSION(logout)));
        load();
    }
}

// An array that another thread grows after it was sized is refused: it does not fit into the reservation.
void testGrowingArrays()
{
    for (const CK_ATTRIBUTE_TYPE type : {CKA_ID, CKA_ALLOWED_MECHANISMS}) {
        bool isRefused = false;
        for (int last = 1; last < 60; ++last) {
            Ref array = type == CKA_ID ? newBytes("\1") : newInts({1});
            int reads = 0;
            fake.meddling = [&] {
                if (++reads == last)
                    array.object->bytes.resize(4000);
            };
            const std::string found =
                outcome(CALL(SESSION(createObject), newInts({static_cast<jint>(type)}), newObjects({array})));
            fake.meddling = nullptr;
            isRefused |= found.find("no space for encoded attribute!") != std::string::npos;
        }
        check("refused", isRefused ? "refused" : "encoded");
    }
}
