/*
 * tnef.h - the plug-in's TNEF ("winmail.dat") decoder for other programs.
 *
 * A TNEF attachment (MIME type application/ms-tnef) hides the real
 * attachments of a mail inside one stream. The decoder walks such a stream
 * and reports the name of every attachment it holds to a callback; when the
 * callback answers OVCM_TNEF_SAVE, the attachment's data is written into the
 * save directory under its name.
 *
 *     static int on_name(char *name, void *context) { ...; return OVCM_TNEF_SAVE; }
 *
 *     OVCMSetExtractAttachName(on_name, my_context);
 *     OVCMSetSaveAttachPath("/var/spool/out\\");   // saves "/var/spool/out\\<name>"
 *     int rc = OVCMDecodeTNEF("/tmp/winmail.dat");   // 0, or negative
 *
 * The callback, its context and the save directory are process-wide and not
 * locked: set them before decoding; decodes may then run in several threads
 * at once as long as nobody changes the settings.
 */
#ifndef OV_TNEF_H
#define OV_TNEF_H

#ifdef __cplusplus
extern "C" {
#endif

#define OVCM_TNEF_EXPORT __attribute__((visibility("default")))

/* Callback answers: continue with the next attachment (any other value),
 * stop the walk, or save this attachment's data and continue. */
#define OVCM_TNEF_CONTINUE 0
#define OVCM_TNEF_STOP 1
#define OVCM_TNEF_SAVE 3

/* Called once per attachment with its name (at most 255 bytes, as the
 * stream spells it) and the context given to OVCMSetExtractAttachName. */
typedef int (*OVCMExtractAttachNameFn)(char *name, void *context);

/* Sets the name callback and its context; returns 0. */
OVCM_TNEF_EXPORT int OVCMSetExtractAttachName(OVCMExtractAttachNameFn callback, void *context);

/* Sets the directory that saved attachments go to. A backslash is appended
 * unless the text already ends in one, and a saved file's path is this text
 * followed by the name, as the format has always joined them: the backslash
 * is the separator on every platform, so on a POSIX system "/out" saves
 * "/out\\report.txt" beside /out. A null or empty directory switches saving
 * off. Names from the stream are made safe before they become file names
 * ("/" and ".." become "_"), so they never add a directory of their own. */
OVCM_TNEF_EXPORT void OVCMSetSaveAttachPath(char *dir);

/* Decodes one TNEF file. Returns 0 when the walk ended (also at a truncated
 * record, or when the callback asked to stop), -1 when no callback is set,
 * the file cannot be opened or sized, it is not a TNEF stream, or saving an
 * attachment failed. */
OVCM_TNEF_EXPORT int OVCMDecodeTNEF(char *path);

#ifdef __cplusplus
}
#endif

#endif /* OV_TNEF_H */
