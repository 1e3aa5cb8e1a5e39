// Features of faces and their scores, from .NET. One file without dependencies: add it to a project,
// or pack it as FaceFeature.nuspec describes. The runtime looks for the library under the name
// "facefeature": libfacefeature.so on Linux, facefeature.dll on Windows.
using System;
using System.Collections.Generic;
using System.IO;
using System.Runtime.InteropServices;
using System.Threading;

namespace FaceFeature
{
    // One landmark, in pixels; the centre of the top left pixel is (0, 0). Id is 0 to 317.
    public struct Landmark
    {
        public int Id;
        public float X;
        public float Y;

        public Landmark(int id, float x, float y) { Id = id; X = x; Y = y; }
    }

    public sealed class FaceFeatureException : Exception
    {
        public FaceFeatureException(string message) : base(message) { }
    }

    // The library with a model, ready to extract.
    //
    // All engines of a process have the same model: the one in the folder "~kwplugintmp~" of the
    // temporary folder ($TMPDIR, or %TMP% on Windows) as it was when the library was loaded. Set the
    // variable before the process starts: .NET does not pass changes of its own on to native code.
    // Check the model with "facefeature model check", because the library ends the process if
    // weights are missing.
    //
    // Any thread may call any method. One engine extracts one face at a time; several extract
    // concurrently. Creating and disposing waits until no engine extracts.
    public sealed class Engine : IDisposable
    {
        private static readonly ReaderWriterLockSlim Order = new ReaderWriterLockSlim();
        private readonly object extracting = new object();
        private IntPtr handle;

        public Engine()
        {
            Order.EnterWriteLock();
            try { handle = Native.CreateFeatureEngine(); }
            finally { Order.ExitWriteLock(); }
            if (handle == IntPtr.Zero)
                throw new FaceFeatureException("the library could not open the model");
        }

        // The feature of one face: 502 floats, none of them NaN. pixels has 8 bits a channel, blue,
        // green, red, the first row first; stride is the number of bytes from row to row.
        public float[] Extract(byte[] pixels, int width, int height, int stride,
                               IReadOnlyList<Landmark> landmarks)
        {
            if (pixels == null) throw new ArgumentNullException(nameof(pixels));
            if (width < 2 || height < 2 || stride < 3L * width ||
                (long)stride * (height - 1) + 3L * width > pixels.LongLength)
                throw new ArgumentException("the pixels are not a picture of 2 x 2 or more");
            byte[] record = Record(landmarks);
            var feature = new float[Features.Length];
            lock (extracting)
            {
                Order.EnterReadLock();
                try
                {
                    if (handle == IntPtr.Zero) throw new ObjectDisposedException(nameof(Engine));
                    Native.ExtractFeature(handle, pixels, width, height, stride, record, feature);
                }
                finally { Order.ExitReadLock(); }
            }
            if (float.IsNaN(feature[Features.Length - 1]))
                throw new FaceFeatureException("the feature is not a number: check the model");
            return feature;
        }

        public void Dispose()
        {
            Order.EnterWriteLock();
            try
            {
                if (handle != IntPtr.Zero) Native.DestroyFeatureEngine(handle);
                handle = IntPtr.Zero;
            }
            finally { Order.ExitWriteLock(); }
        }

        // The record that the library takes: a count, a word that is not read, then the entries.
        private static byte[] Record(IReadOnlyList<Landmark> landmarks)
        {
            if (landmarks == null) throw new ArgumentNullException(nameof(landmarks));
            var stream = new MemoryStream();
            var writer = new BinaryWriter(stream);
            writer.Write(landmarks.Count);
            writer.Write(0);
            int aligned = 0;
            foreach (Landmark point in landmarks)
            {
                if (point.Id < 0 || point.Id > 317)
                    throw new ArgumentException("the id " + point.Id + " is not 0 to 317");
                if (float.IsNaN(point.X + point.Y) || float.IsInfinity(point.X + point.Y))
                    throw new ArgumentException("the landmark " + point.Id + " is not finite");
                bool isSideOfHead = point.Id == 240 || point.Id == 241 || point.Id == 315 || point.Id == 316;
                if (!isSideOfHead) ++aligned;
                writer.Write(point.Id);
                writer.Write(point.X);
                writer.Write(point.Y);
            }
            if (aligned != 25)
                throw new ArgumentException(aligned + " landmarks besides 240, 241, 315, 316, not 25");
            return stream.ToArray();
        }
    }

    public static class Features
    {
        // Number of floats in a feature.
        public const int Length = 502;

        // The score of two features of one model: the higher, the more alike the faces.
        public static float Compare(float[] a, float[] b)
        {
            if (a == null || b == null || a.Length != Length || b.Length != Length)
                throw new ArgumentException("a feature has " + Length + " floats");
            return Native.CompareFeatures(a, b);
        }
    }

    internal static class Native
    {
        // The DLL for Windows exports its functions by ordinal, without names.
        private static readonly bool ByOrdinal = Path.DirectorySeparatorChar == '\\';

        internal static IntPtr CreateFeatureEngine() =>
            ByOrdinal ? Ordinals.CreateFeatureEngine() : Names.CreateFeatureEngine();

        internal static void ExtractFeature(IntPtr engine, byte[] pixels, int width, int height,
                                            int stride, byte[] landmarks, float[] feature)
        {
            if (ByOrdinal)
                Ordinals.ExtractFeature(engine, pixels, width, height, stride, landmarks, feature);
            else
                Names.ExtractFeature(engine, pixels, width, height, stride, landmarks, feature);
        }

        internal static float CompareFeatures(float[] a, float[] b) =>
            ByOrdinal ? Ordinals.CompareFeatures(a, b) : Names.CompareFeatures(a, b);

        internal static void DestroyFeatureEngine(IntPtr engine)
        {
            if (ByOrdinal) Ordinals.DestroyFeatureEngine(engine);
            else Names.DestroyFeatureEngine(engine);
        }
    }

    internal static class Names
    {
        private const string Library = "facefeature";

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern IntPtr CreateFeatureEngine();

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern void ExtractFeature(IntPtr engine, byte[] pixels, int width, int height,
                                                   int stride, byte[] landmarks, [Out] float[] feature);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern float CompareFeatures(float[] a, float[] b);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern void DestroyFeatureEngine(IntPtr engine);
    }

    internal static class Ordinals
    {
        private const string Library = "facefeature";

        [DllImport(Library, EntryPoint = "#1", CallingConvention = CallingConvention.Cdecl)]
        internal static extern IntPtr CreateFeatureEngine();

        [DllImport(Library, EntryPoint = "#2", CallingConvention = CallingConvention.Cdecl)]
        internal static extern void ExtractFeature(IntPtr engine, byte[] pixels, int width, int height,
                                                   int stride, byte[] landmarks, [Out] float[] feature);

        [DllImport(Library, EntryPoint = "#3", CallingConvention = CallingConvention.Cdecl)]
        internal static extern float CompareFeatures(float[] a, float[] b);

        [DllImport(Library, EntryPoint = "#4", CallingConvention = CallingConvention.Cdecl)]
        internal static extern void DestroyFeatureEngine(IntPtr engine);
    }
}
