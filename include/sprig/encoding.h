/**
 * @file
 * @brief Text encodings: Base64 and the small tag markup of the depot's files.
 */
#ifndef SPRIG_ENCODING_H
#define SPRIG_ENCODING_H

#include <stdint.h>

#include <sprig/api.h>
#include <sprig/pal.h>

SPRIG_BEGIN_DECLS

/**
 * @name Base64
 *
 * The alphabet and padding of RFC 4648, section 4, on one unbroken line. Decoding is lenient and
 * never fails; its length departs from the standard as described with Decode().
 * @{
 */

/**
 * Encodes bytes as Base64 text.
 *
 * @param data           @p length bytes to encode; null counts as no bytes.
 * @param length         number of bytes.
 * @param encoded        receives a new buffer with the text, released with PalMemoryFree(), or null
 *                       when @p length is 0. The buffer holds twice @p length rounded down to a
 *                       multiple of 4096, plus 4096 bytes, and is zero behind the text, which is
 *                       therefore NUL-terminated.
 * @param encodedLength  receives the number of characters: 4 for each 3 bytes begun.
 *
 * Where memory runs out, or the length does not fit 32 bits, the buffer is null and the length 0.
 */
SPRIG_API void Encode(const void *data, uint32_t length, char **encoded, uint32_t *encodedLength);

/**
 * Decodes Base64 text, leniently.
 *
 * - The characters 0x07 to 0x0D and the space are skipped.
 * - The eighth bit of alphabet characters and of "=" is ignored.
 * - Any other character counts as the value 254 and yields meaningless bits, no error.
 * - Each group of four characters adds three bytes, padded or not: the bytes that padding stands
 *   for are zero and counted. "TQ==" gives 0x4D 0x00 0x00.
 * - One to three characters left over add as many bytes as there are characters.
 *
 * @param text           @p length bytes of text, a NUL is not needed; null counts as no text.
 * @param length         number of bytes.
 * @param decoded        receives a new buffer with the bytes, released with PalMemoryFree(), or
 *                       null when @p length is 0. The buffer holds @p length rounded down to a
 *                       multiple of 4096, plus 4096 bytes, and is zero behind the decoded bytes.
 * @param decodedLength  receives the number of decoded bytes, counted as above.
 * @return               always success; where memory runs out, the buffer is null and the length 0.
 */
SPRIG_API PalError Decode(const char *text, uint32_t length, unsigned char **decoded,
                          uint32_t *decodedLength);

/** @} */

/**
 * @name Tag markup
 *
 * Named tags in NUL-terminated text that looks like a flat subset of XML: `<name>content</name>`,
 * `<name/>` and `<!DOCTYPE name>`. There are no attributes, no escapes and no nesting of tags with
 * the same name. `docs/formats/tags.md` has the rules and examples.
 *
 * Every search ends at a *bound*: the last character of the text, or @c limit where that is given
 * and lies before it. A closing tag must end *before* the bound, so a document needs at least one
 * character behind its last closing tag.
 *
 * A null document, an empty name, or a tag that is not there give null pointers.
 * @{
 */

/** A run of characters in the caller's text; both ends are inclusive. */
typedef struct TextRange {
  char *first; /**< First character, or null when there is no such range. */
  char *last;  /**< Last character; one before @c first when the range is empty. */
} TextRange;

/** Where the parts of an element lie in the caller's text. */
typedef struct TagRanges {
  char *tagStart;     /**< The "<" of the opening tag. */
  char *tagEnd;       /**< The ">" of the opening tag. */
  char *contentStart; /**< The character behind @c tagEnd; null for an empty-element tag. */
  char *contentEnd;   /**< Last character of the content; the bound when nothing closes the tag. */
  char *closeStart;   /**< The "<" of the closing tag; null when there is none. */
  char *closeEnd;     /**< The ">" of the closing tag; null when there is none. */
} TagRanges;

/**
 * Finds the first element with a given name.
 *
 * @param name      bare tag name, such as "id" or "!DOCTYPE".
 * @param document  NUL-terminated text, or text up to @p limit.
 * @param limit     last character to look at, or null for the whole text.
 * @return          the parts of the element, pointing into @p document. An empty-element tag has no
 *                  content, and its closing tag is the opening one.
 */
SPRIG_API TagRanges getTagRanges(const char *name, char *document, char *limit);

/**
 * Finds the content or the whole of the first element with a given name.
 *
 * @param name      bare tag name.
 * @param document  NUL-terminated text, or text up to @p limit.
 * @param limit     last character to look at, or null for the whole text.
 * @param outer     0 for the content alone, otherwise the element with its tags.
 * @return          the range, pointing into @p document. An element without a closing tag has
 *                  content up to the bound, and no end as a whole.
 */
SPRIG_API TextRange getTagScope(const char *name, char *document, char *limit, int outer);

/**
 * Finds the DOCTYPE tag.
 *
 * @param document  NUL-terminated text, or text up to @p limit.
 * @param limit     last character to look at, or null for the whole text.
 * @param whole     0 for the document type's name, otherwise the tag from "<" to ">".
 * @return          the range, pointing into @p document. A tag without a name that ends at the
 *                  bound gives one character for the name, the one behind the bound.
 */
SPRIG_API TextRange getDocType(char *document, char *limit, int whole);

/**
 * Puts text into an element that has an opening and a closing tag, moving what follows.
 *
 * @param documentRange  the document: its first byte and the last byte that moves along with it,
 *                       usually the terminating NUL.
 * @param bufferRange    in its second pointer, the last usable byte of the buffer that holds the
 *                       document; its first pointer is not looked at.
 * @param name           bare tag name.
 * @param content        the text to put in, outside the document; null pointers are no text.
 * @param replace        0 puts the text in front of the content, otherwise it takes its place.
 * @return               the document and its new last byte; {null, null} when there is no such
 *                       element; {null, needed last byte} when the buffer is too small. The last
 *                       two leave the document as it was.
 */
SPRIG_API TextRange addContentToTag(TextRange documentRange, TextRange bufferRange,
                                    const char *name, TextRange content, int replace);

/** @} */

SPRIG_END_DECLS

#endif
