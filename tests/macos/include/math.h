#ifndef MACOS_MATH_H_
#define MACOS_MATH_H_

#include "declared/types.h"

#define HUGE_VAL __builtin_huge_val()
#define HUGE_VALF __builtin_huge_valf()
#define HUGE_VALL __builtin_huge_vall()
#define INFINITY __builtin_inff()
#define NAN __builtin_nanf("")
#define FP_NAN 1
#define FP_INFINITE 2
#define FP_ZERO 3
#define FP_NORMAL 4
#define FP_SUBNORMAL 5
#define FP_ILOGB0 (-2147483647 - 1)
#define FP_ILOGBNAN (-2147483647 - 1)
#define fpclassify(x) __builtin_fpclassify(FP_NAN, FP_INFINITE, FP_NORMAL, FP_SUBNORMAL, FP_ZERO, x)
#define signbit(x) __builtin_signbit(x)
#define isfinite(x) __builtin_isfinite(x)
#define isinf(x) __builtin_isinf(x)
#define isnan(x) __builtin_isnan(x)
#define isnormal(x) __builtin_isnormal(x)
#define isgreater(x, y) __builtin_isgreater(x, y)
#define isgreaterequal(x, y) __builtin_isgreaterequal(x, y)
#define isless(x, y) __builtin_isless(x, y)
#define islessequal(x, y) __builtin_islessequal(x, y)
#define islessgreater(x, y) __builtin_islessgreater(x, y)
#define isunordered(x, y) __builtin_isunordered(x, y)

typedef float float_t;
typedef double double_t;

#define MACOS_OF_ONE(name) \
    double name(double);   \
    float name##f(float);  \
    long double name##l(long double);
#define MACOS_OF_TWO(name)       \
    double name(double, double); \
    float name##f(float, float); \
    long double name##l(long double, long double);
#define MACOS_WITH(name, other)  \
    double name(double, other);  \
    float name##f(float, other); \
    long double name##l(long double, other);
#define MACOS_TO(result, name) \
    result name(double);       \
    result name##f(float);     \
    result name##l(long double);

MACOS_C_BEGIN
MACOS_OF_ONE(acos)
MACOS_OF_ONE(asin)
MACOS_OF_ONE(atan)
MACOS_OF_ONE(ceil)
MACOS_OF_ONE(cos)
MACOS_OF_ONE(cosh)
MACOS_OF_ONE(exp)
MACOS_OF_ONE(fabs)
MACOS_OF_ONE(floor)
MACOS_OF_ONE(log)
MACOS_OF_ONE(log10)
MACOS_OF_ONE(sin)
MACOS_OF_ONE(sinh)
MACOS_OF_ONE(sqrt)
MACOS_OF_ONE(tan)
MACOS_OF_ONE(tanh)
MACOS_OF_ONE(acosh)
MACOS_OF_ONE(asinh)
MACOS_OF_ONE(atanh)
MACOS_OF_ONE(cbrt)
MACOS_OF_ONE(erf)
MACOS_OF_ONE(erfc)
MACOS_OF_ONE(exp2)
MACOS_OF_ONE(expm1)
MACOS_OF_ONE(lgamma)
MACOS_OF_ONE(log1p)
MACOS_OF_ONE(log2)
MACOS_OF_ONE(logb)
MACOS_OF_ONE(nearbyint)
MACOS_OF_ONE(rint)
MACOS_OF_ONE(round)
MACOS_OF_ONE(tgamma)
MACOS_OF_ONE(trunc)
MACOS_OF_TWO(atan2)
MACOS_OF_TWO(fmod)
MACOS_OF_TWO(pow)
MACOS_OF_TWO(copysign)
MACOS_OF_TWO(fdim)
MACOS_OF_TWO(fmax)
MACOS_OF_TWO(fmin)
MACOS_OF_TWO(hypot)
MACOS_OF_TWO(nextafter)
MACOS_OF_TWO(remainder)
MACOS_WITH(frexp, int*)
MACOS_WITH(ldexp, int)
MACOS_WITH(scalbn, int)
MACOS_WITH(scalbln, long)
MACOS_TO(int, ilogb)
MACOS_TO(long, lrint)
MACOS_TO(long, lround)
MACOS_TO(long long, llrint)
MACOS_TO(long long, llround)
double modf(double, double*);
float modff(float, float*);
long double modfl(long double, long double*);
double fma(double, double, double);
float fmaf(float, float, float);
long double fmal(long double, long double, long double);
double nan(const char*);
float nanf(const char*);
long double nanl(const char*);
double nexttoward(double, long double);
float nexttowardf(float, long double);
long double nexttowardl(long double, long double);
double remquo(double, double, int*);
float remquof(float, float, int*);
long double remquol(long double, long double, int*);
MACOS_C_END

#endif  // MACOS_MATH_H_
