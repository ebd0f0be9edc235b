/** A file that is no pull, or a damaged one. The message says where and how, for people. */
export class BadPull extends Error {}
