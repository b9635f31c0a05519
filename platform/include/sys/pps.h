#ifndef OM_SYS_PPS_H
#define OM_SYS_PPS_H

#include <om/omsys_export.h>

#ifndef __cplusplus
#include <stdbool.h>
#endif

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Opens a PPS object and returns a descriptor connected to it, for plain
 * read(), write() and close(). oflag is O_RDONLY, O_WRONLY or O_RDWR,
 * optionally with O_CREAT (create a plain object) and O_NONBLOCK. The path
 * may carry options after '?', as for om::PpsObject ("server" is refused
 * with EINVAL). Returns -1 with errno set on failure.
 *
 * Each read() gives one whole message; a write() of more than 64 KiB fails
 * with EMSGSIZE. Without "wait" and O_NONBLOCK, a read() with nothing
 * waiting fails with EAGAIN after at most one clock tick, and a write()
 * waits while the far side has no room, so that nothing is lost. With
 * "wait", read() blocks until a message comes. read() returns 0 once the
 * far side (a control object's server, else the broker) has gone.
 */
OMSYS_EXPORT int pps_open(const char *path, int oflag);

/*
 * The PPS encoder and decoder: build the text of one message attribute by
 * attribute, and walk the attributes of a message that was read.
 *
 * The text is the bus's own, one attribute a line:
 *
 *   name:encoding:value
 *
 * with no encoding for text, "n" for a number, "b" for a boolean, "c" for
 * text with C escapes (any value with a control character or a backslash)
 * and "json" for an object or a list. A line "@name" starts an object of
 * the message; the lines after it are its attributes.
 *
 * Neither needs cleaning up: an encoder or a decoder holds everything in
 * its own structure and allocates nothing, so one that is simply left
 * behind (a local variable going out of scope) leaks nothing.
 */

/* The deepest nesting of objects and lists, as for om::PpsObject. */
#define PPS_MAX_NESTING 64
/* The longest text an encoder makes: one message on the bus. */
#define PPS_ENCODER_MAX_LENGTH 65536

typedef enum {
    PPS_ENCODER_OK = 0,
    /* The text would be longer than PPS_ENCODER_MAX_LENGTH. */
    PPS_ENCODER_NO_MEMORY = 1,
    /* A name that cannot stand where it was given: null or empty for an
       attribute, or one with ':' or a line break, or one beginning with '@',
       '+' or '-' at the top level. Inside an object any name but null will
       do; inside a list names are not used. */
    PPS_ENCODER_BAD_NAME = 2,
    /* A null string value, or a null encoder. */
    PPS_ENCODER_BAD_VALUE = 3,
    /* An end without a start, an end of the other kind (an object ended as
       a list), or nesting deeper than PPS_MAX_NESTING. */
    PPS_ENCODER_BAD_NESTING = 4
} pps_encoder_error_t;

/*
 * An encoder. Its fields are private; it lives wherever the caller puts
 * it. Errors are sticky: once an operation has failed, every later one
 * fails with the same error and leaves the text as it was before the
 * first failure.
 */
typedef struct {
    char buffer[PPS_ENCODER_MAX_LENGTH + 2];
    unsigned int length;
    int error;
    int depth;
    int json;
    unsigned char kinds[PPS_MAX_NESTING + 1];
    unsigned char started[PPS_MAX_NESTING + 1];
} pps_encoder_t;

/* Starts an empty message. With json false the text is PPS attribute lines;
   with json true it is one JSON object, closed when the text is taken. */
OMSYS_EXPORT pps_encoder_error_t pps_encoder_initialize(pps_encoder_t *encoder, bool json);
/* Starts again, in the same form, and forgets an error. */
OMSYS_EXPORT pps_encoder_error_t pps_encoder_reset(pps_encoder_t *encoder);
/* Nothing to release; provided for symmetry. Same as pps_encoder_reset. */
OMSYS_EXPORT void pps_encoder_cleanup(pps_encoder_t *encoder);

/*
 * Adding an element. name is the attribute's name at the top level and in
 * objects, and is not used in lists (pass NULL). Strings are taken as bytes,
 * in any encoding: the decoder gives back the same bytes.
 */
OMSYS_EXPORT pps_encoder_error_t pps_encoder_add_string(pps_encoder_t *encoder, const char *name,
                                                        const char *value);
OMSYS_EXPORT pps_encoder_error_t pps_encoder_add_bool(pps_encoder_t *encoder, const char *name,
                                                      bool value);
OMSYS_EXPORT pps_encoder_error_t pps_encoder_add_int(pps_encoder_t *encoder, const char *name,
                                                     int value);
OMSYS_EXPORT pps_encoder_error_t pps_encoder_add_int64(pps_encoder_t *encoder, const char *name,
                                                       long long value);
/* A value that is not finite is written as nan, inf or -inf at the top
   level and as null inside an object or list, where JSON has no word for it. */
OMSYS_EXPORT pps_encoder_error_t pps_encoder_add_double(pps_encoder_t *encoder, const char *name,
                                                        double value);
OMSYS_EXPORT pps_encoder_error_t pps_encoder_add_null(pps_encoder_t *encoder, const char *name);

/* Opens an object or a list as the next element; the elements added until
   the matching end go into it. */
OMSYS_EXPORT pps_encoder_error_t pps_encoder_start_object(pps_encoder_t *encoder, const char *name);
OMSYS_EXPORT pps_encoder_error_t pps_encoder_end_object(pps_encoder_t *encoder);
OMSYS_EXPORT pps_encoder_error_t pps_encoder_start_array(pps_encoder_t *encoder, const char *name);
OMSYS_EXPORT pps_encoder_error_t pps_encoder_end_array(pps_encoder_t *encoder);

/* The text so far, NUL-terminated, valid until the encoder changes; and
   its length in bytes without the NUL. Elements appear in the order in which
   they were added. In JSON form the outer object is closed here. */
OMSYS_EXPORT const char *pps_encoder_buffer(pps_encoder_t *encoder);
OMSYS_EXPORT int pps_encoder_length(pps_encoder_t *encoder);
/* The sticky error, PPS_ENCODER_OK if none. */
OMSYS_EXPORT pps_encoder_error_t pps_encoder_error(const pps_encoder_t *encoder);

typedef enum {
    /* Nothing there: no element of that name, or past the last element. */
    PPS_TYPE_NONE = 0,
    PPS_TYPE_NULL = 1,
    PPS_TYPE_BOOL = 2,
    PPS_TYPE_STRING = 3,
    PPS_TYPE_NUMBER = 4,
    PPS_TYPE_ARRAY = 5,
    PPS_TYPE_OBJECT = 6
} pps_node_type_t;

typedef enum {
    PPS_DECODER_OK = 0,
    /* No element of that name here; with a null name, no current element
       (past the last one). */
    PPS_DECODER_BAD_NAME = 1,
    /* The element has another type, or its number does not fit: a number
       with a fraction or out of range read as an integer. */
    PPS_DECODER_BAD_TYPE = 2,
    /* The text is no message. */
    PPS_DECODER_PARSE_ERROR = 3,
    /* A pop at the top level. */
    PPS_DECODER_BAD_NESTING = 4,
    /* A null decoder, text or result pointer, or nothing parsed. */
    PPS_DECODER_BAD_ARGUMENT = 5
} pps_decoder_error_t;

/*
 * A decoder. Its fields are private. It works on the caller's text, which
 * it changes in place while parsing (escapes are resolved, strings are
 * terminated), and the strings it hands out point into that text: keep the
 * text alive and unchanged while they are in use.
 *
 * The decoder stands in an object (at first the message as a whole) and
 * has a current element in it, at first the first one. An operation with a
 * name finds the element of that name in the current object and leaves the
 * current element where it is; with a null name it takes the current element
 * and, for the get operations, moves on to the next. Lists work the same
 * way, their elements having no names.
 *
 * At the top level the elements are the attributes before the first "@name"
 * line, then one object for each "@name" line, named as the line is
 * ("@control"), holding the attributes that follow it. Of two elements with
 * one name, the first is found by name; a removal line ("-name") is no
 * element. Everything om::PpsObject::encode writes reads back here.
 */
typedef struct {
    char *text;
    unsigned int length;
    int depth;
    struct {
        unsigned int begin;   /* first element */
        unsigned int current; /* current element, or the end */
        unsigned int origin;  /* where the object stands in its parent */
        int index;            /* number of the current element */
        int originIndex;
        int kind;
    } frames[PPS_MAX_NESTING + 3];
} pps_decoder_t;

/* Starts with nothing parsed; if text is not null, parses it as
   pps_decoder_parse_pps_str does. */
OMSYS_EXPORT pps_decoder_error_t pps_decoder_initialize(pps_decoder_t *decoder, char *text);
/* Nothing to release; provided for symmetry. Forgets the text. */
OMSYS_EXPORT void pps_decoder_cleanup(pps_decoder_t *decoder);

/* Parses a NUL-terminated message of attribute lines, in place, and stands
   at its top level. On failure the decoder holds nothing and the text is
   left in an unknown state. Any bytes give either a message or
   PPS_DECODER_PARSE_ERROR. */
OMSYS_EXPORT pps_decoder_error_t pps_decoder_parse_pps_str(pps_decoder_t *decoder, char *text);
/* The same for a message that is one JSON object (an encoder's JSON form). */
OMSYS_EXPORT pps_decoder_error_t pps_decoder_parse_json_str(pps_decoder_t *decoder, char *text);

/* Steps into the named object or list (null: the current element). */
OMSYS_EXPORT pps_decoder_error_t pps_decoder_push(pps_decoder_t *decoder, const char *name);
/* Steps out, to the element after the one stepped into. */
OMSYS_EXPORT pps_decoder_error_t pps_decoder_pop(pps_decoder_t *decoder);
/* Moves to the next element, whatever the current one is. */
OMSYS_EXPORT pps_decoder_error_t pps_decoder_next(pps_decoder_t *decoder);

/* Number of elements of the current object or list; -1 if nothing is parsed. */
OMSYS_EXPORT int pps_decoder_length(pps_decoder_t *decoder);
/* Type of the named element (null: the current one); PPS_TYPE_NONE if none. */
OMSYS_EXPORT pps_node_type_t pps_decoder_type(pps_decoder_t *decoder, const char *name);
/* Name of the current element; null in a list or past the last element. */
OMSYS_EXPORT const char *pps_decoder_name(pps_decoder_t *decoder);

OMSYS_EXPORT pps_decoder_error_t pps_decoder_get_string(pps_decoder_t *decoder, const char *name,
                                                        const char **value);
OMSYS_EXPORT pps_decoder_error_t pps_decoder_get_bool(pps_decoder_t *decoder, const char *name,
                                                      bool *value);
/* A number that is a whole number in the range of the result type. */
OMSYS_EXPORT pps_decoder_error_t pps_decoder_get_int(pps_decoder_t *decoder, const char *name,
                                                     int *value);
OMSYS_EXPORT pps_decoder_error_t pps_decoder_get_int64(pps_decoder_t *decoder, const char *name,
                                                       long long *value);
OMSYS_EXPORT pps_decoder_error_t pps_decoder_get_double(pps_decoder_t *decoder, const char *name,
                                                        double *value);
/* Whether the named number (null: the current one) is written as a whole
   number, without a fraction or an exponent, in the range of long long. */
OMSYS_EXPORT bool pps_decoder_is_integer(pps_decoder_t *decoder, const char *name);
/* Succeeds for a null element (and moves on, for a null name). */
OMSYS_EXPORT pps_decoder_error_t pps_decoder_get_null(pps_decoder_t *decoder, const char *name);

#ifdef __cplusplus
}
#endif

#endif
